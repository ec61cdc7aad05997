#include "VLR_System.h"

#include "VLR_Exception.h"
#include "VLR_SipHash.h"
#include "VLR_StretchReader.h"
#include "VLR_String.h"
#include "VLR_SystemRepresentation.h"
#include "VLR_Unicode.h"

#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <compare>
#include <cstring>
#include <span>

#include <sys/random.h>

uint32_t gSystemRepresentationLeakDetector = 0;

namespace {

constexpr unsigned char kFirstBeyondASCII = 0x80;

bool HasSameBytes(const VLR_String& a, const VLR_String& b)
{
    return a.Length() == b.Length() && (a.IsEmpty() || std::memcmp(a.Bytes(), b.Bytes(), a.Length()) == 0);
}

VLR_String TextOf(VLR_UTF16 units)
{
    VLR_Unicode::Mend(units); // a cut may have parted a pair
    VLR_String text;
    VLR_Unicode::StoreUTF8(units, text);
    return text;
}

// Comparison

int32_t SignOf(std::strong_ordering order)
{
    return std::is_lt(order) ? -1 : std::is_gt(order) ? 1 : 0;
}

/// Hands out the key of the end of a text, one code point after the other. Takes a cached representation's key if there
/// is one.
class KeyReader {
public:
    /// Without a representation `start` bytes of ASCII are left out.
    KeyReader(const VLR_String& text, uint32_t start, VLR_StringComparisonType type)
        : buffers(type)
        , stretches(text, text.systemRepresentation == nullptr ? start : text.Length(), buffers)
    {
        if (text.systemRepresentation == nullptr)
            return;
        const auto* const cached = static_cast<const VLR_SystemRepresentation*>(text.systemRepresentation);
        left = cached->Key(type).codePoints;
    }

    /// False at the end.
    bool Read(char32_t& codePoint)
    {
        while (left.empty()) {
            if (!stretches.Next())
                return false;
            left = stretches.Key();
        }
        codePoint = left.front();
        left = left.subspan(1);
        return true;
    }

private:
    VLR_StretchBuffers buffers;
    VLR_StretchReader stretches;
    std::span<const char32_t> left;
};

int32_t CompareFrom(const VLR_String& a, const VLR_String& b, uint32_t start, VLR_StringComparisonType type)
{
    KeyReader left(a, start, type);
    KeyReader right(b, start, type);
    for (;;) {
        char32_t fromLeft = 0;
        char32_t fromRight = 0;
        const bool hasLeft = left.Read(fromLeft);
        const bool hasRight = right.Read(fromRight);
        if (!hasLeft || !hasRight)
            return SignOf(hasLeft <=> hasRight);
        if (fromLeft != fromRight)
            return SignOf(fromLeft <=> fromRight);
    }
}

VLR_CodePoints KeyOf(const VLR_String& text, VLR_StringComparisonType type)
{
    return VLR_Unicode::KeyOf(StVLR_Representation(text)->Units(), type);
}

// Hash

struct HashKey {
    uint64_t halves[2];
};

const HashKey& ProcessHashKey()
{
    static const HashKey key = [] {
        HashKey random {};
        if (::getrandom(&random, sizeof random, 0) != sizeof random)
            VLR_RAISE_CODE(VLR_ExceptionInternal);
        return random;
    }();
    return key;
}

void AddAsUTF8(char32_t codePoint, VLR_SipHash& hash)
{
    unsigned char bytes[U8_MAX_LENGTH];
    uint32_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, static_cast<uint32_t>(codePoint));
    hash.Add(bytes, length);
}

} // namespace

int32_t VLR_System::CompareStrings(const VLR_String& a, const VLR_String& b, VLR_StringComparisonType type)
{
    if (a.systemRepresentation != nullptr || b.systemRepresentation != nullptr)
        return CompareFrom(a, b, 0, type); // what is kept stands for its text, also where bytes were appended since
    if (HasSameBytes(a, b))
        return 0;
    // In a key each ASCII character stands for itself and no other changes places with it, whatever follows. So the
    // first difference decides if both sides are ASCII there.
    const uint32_t shorter = std::min(a.Length(), b.Length());
    const bool caseless = type == VLR_StringComparisonCaseless;
    uint32_t i = 0;
    for (; i < shorter; ++i) {
        const unsigned char left = a.Bytes()[i];
        const unsigned char right = b.Bytes()[i];
        if (left >= kFirstBeyondASCII || right >= kFirstBeyondASCII)
            return CompareFrom(a, b, i, type);
        if (left == right)
            continue;
        const unsigned char foldedLeft = caseless ? VLR_Unicode::FoldASCII(left) : left;
        const unsigned char foldedRight = caseless ? VLR_Unicode::FoldASCII(right) : right;
        if (foldedLeft != foldedRight)
            return SignOf(foldedLeft <=> foldedRight);
    }
    return SignOf(a.Length() <=> b.Length());
}

uint64_t VLR_System::HashString(const VLR_String& text, VLR_StringComparisonType type)
{
    const HashKey& hashKey = ProcessHashKey();
    VLR_SipHash hash(hashKey.halves[0], hashKey.halves[1]);
    if (!VLR_Unicode::IsASCII(text)) {
        for (const char32_t c : KeyOf(text, type))
            AddAsUTF8(c, hash); // so that a key of ASCII alone has the hash of the ASCII text
        return hash.Finish();
    }
    if (type != VLR_StringComparisonCaseless)
        hash.Add(text.Bytes(), text.Length());
    else
        hash.AddCaseless(text.Bytes(), text.Length());
    return hash.Finish();
}

void VLR_System::AppendComparisonKey(const VLR_String& text, VLR_StringComparisonType type, VLR_MemoryBlock& to)
{
    const bool caseless = type == VLR_StringComparisonCaseless;
    if (VLR_Unicode::IsASCII(text)) {
        to.ReserveForAppend(text.Length());
        const uint32_t start = to.Length();
        to.Append(text);
        if (caseless && text.Length() > 0)
            std::transform(to.Bytes() + start, to.Bytes() + to.Length(), to.Bytes() + start, VLR_Unicode::FoldASCII);
        return;
    }
    KeyReader reader(text, 0, type);
    for (char32_t codePoint = 0; reader.Read(codePoint);) {
        unsigned char bytes[U8_MAX_LENGTH];
        uint32_t length = 0;
        U8_APPEND_UNSAFE(bytes, length, static_cast<uint32_t>(codePoint)); // UTF-8 keeps the order of code points
        to.ReserveForAppend(length);
        to.Append(bytes, length);
    }
}

void* VLR_System::SystemRepresentationAlloc(const VLR_String& text)
{
    auto* const representation = new VLR_SystemRepresentation(text);
    ++gSystemRepresentationLeakDetector;
    return representation;
}

void VLR_System::SystemRepresentationDealloc(void* representation)
{
    --gSystemRepresentationLeakDetector;
    delete static_cast<VLR_SystemRepresentation*>(representation);
}

uint32_t VLR_System::LengthOfString(const VLR_String& text)
{
    if (text.systemRepresentation == nullptr && VLR_Unicode::IsASCII(text))
        return text.Length();
    const StVLR_Representation representation(text);
    return representation->IsValid() ? static_cast<uint32_t>(representation->Units().size()) : 0;
}

void VLR_System::ReplaceRangeOfString(VLR_String& text, const VLR_String& replacement, const VLR_Range& range)
{
    const StVLR_Representation representation(text);
    const VLR_PodBlock<unsigned short> inserted(replacement);
    const uint64_t end = uint64_t { range.location } + range.length;
    if (!representation->IsValid() || end > representation->Units().size())
        VLR_RaiseRangeFailure();
    const char16_t* const old = representation->Units().data();
    VLR_UTF16 units(old, old + range.location);
    units.insert(units.end(), inserted.Values(), inserted.Values() + inserted.Count());
    units.insert(units.end(), old + end, old + representation->Units().size());
    const VLR_String result = TextOf(std::move(units));
    text = result;
}

VLR_String VLR_System::SubstringOfRange(const VLR_String& text, const VLR_Range& range)
{
    const uint64_t end = uint64_t { range.location } + range.length;
    // The length in bytes, not in code units: callers with ASCII texts rely on this very limit.
    if (end > text.Length())
        VLR_RAISE_CODE(VLR_ExceptionInternal);
    if (text.systemRepresentation == nullptr && VLR_Unicode::IsASCII(text)) {
        const unsigned char* const first = text.Bytes() + range.location;
        const unsigned char* const zero = std::find(first, first + range.length, '\0');
        return VLR_String(VLR_MemoryBlock(first, static_cast<uint32_t>(zero - first)), VLR_CharacterSetUTF8);
    }
    const StVLR_Representation representation(text);
    if (!representation->IsValid() || end > representation->Units().size())
        VLR_RAISE_CODE(VLR_ExceptionInternal);
    const char16_t* const first = representation->Units().data() + range.location;
    return TextOf(VLR_UTF16(first, std::find(first, first + range.length, u'\0')));
}

unsigned short VLR_System::PathSeparator()
{
    return '/';
}

void VLR_System::LowercaseString(VLR_String& text)
{
    const StVLR_Representation representation(text);
    if (!representation->IsValid() || text.IsEmpty()) // the library refuses a text without storage
        return;
    const VLR_UTF16& units = representation->Units();
    VLR_UTF16 lowered(3 * units.size() + 1); // no code unit becomes more than three
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = u_strToLower(lowered.data(), static_cast<int32_t>(lowered.size()), units.data(),
        static_cast<int32_t>(units.size()), "", &error);
    if (U_FAILURE(error))
        VLR_RAISE(kCantAllocate);
    lowered.resize(static_cast<std::size_t>(length));
    const VLR_String result = TextOf(std::move(lowered));
    text = result;
}
