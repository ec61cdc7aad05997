#include "VLR_System.h"

#include "VLR_ASCIIPattern.h"
#include "VLR_Exception.h"
#include "VLR_SipHash.h"
#include "VLR_StretchReader.h"
#include "VLR_String.h"
#include "VLR_SystemRepresentation.h"
#include "VLR_TextSearch.h"
#include "VLR_Unicode.h"

#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <compare>
#include <cstring>
#include <optional>
#include <span>
#include <stdexcept>

#include <sys/random.h>

uint32_t gSystemRepresentationLeakDetector = 0;

namespace {

constexpr unsigned char kFirstBeyondASCII = 0x80;

bool IsASCII(const VLR_String& text)
{
    return VLR_Unicode::IsASCII(text.Bytes(), text.Length());
}

bool HasSameBytes(const VLR_String& a, const VLR_String& b)
{
    return a.Length() == b.Length() && VLR_System::MemCompare(a.Bytes(), b.Bytes(), a.Length()) == 0;
}

/// A text's platform form: the cached one, or one of this scope.
class StVLR_Representation {
public:
    explicit StVLR_Representation(const VLR_String& text)
    {
        if (text.systemRepresentation == nullptr)
            made.emplace(text);
        used = made ? &*made : static_cast<const VLR_SystemRepresentation*>(text.systemRepresentation);
    }
    StVLR_Representation(const StVLR_Representation&) = delete;
    StVLR_Representation& operator=(const StVLR_Representation&) = delete;

    const VLR_SystemRepresentation* operator->() const { return used; }
    const VLR_SystemRepresentation& operator*() const { return *used; }

private:
    std::optional<VLR_SystemRepresentation> made;
    const VLR_SystemRepresentation* used;
};

/// The platform's own failure for a range past the end of a text.
[[noreturn]] void RaiseRangeFailure()
{
    throw std::out_of_range("range past the end of the text");
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
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

/// Hands out the key of the end of a text, one code point after the other. Takes a cached representation's key if there
/// is one.
class KeyReader {
public:
    /// `start` bytes of ASCII come before.
    KeyReader(const VLR_String& text, uint32_t start, VLR_StringComparisonType type)
        : buffers(type)
        , stretches(text, text.systemRepresentation == nullptr ? start : text.Length(), buffers)
    {
        if (text.systemRepresentation == nullptr)
            return;
        const auto* const cached = static_cast<const VLR_SystemRepresentation*>(text.systemRepresentation);
        left = std::span<const char32_t>(cached->Key(type).codePoints).subspan(start); // ASCII has a code point a byte
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

// Search

VLR_Range RangeOf(
    const VLR_ASCIIPattern& pattern, const VLR_String& text, const unsigned char* first, const unsigned char* last)
{
    const unsigned char* const found = pattern.FirstIn(first, last);
    return found != last ? VLR_Range { static_cast<uint32_t>(found - text.Bytes()), pattern.Length() } : kVLR_RangeNotFound;
}

VLR_Range FindASCII(const VLR_String& text, const VLR_String& search, const VLR_Range& within, bool caseless)
{
    const unsigned char* const first = text.Bytes() + within.location;
    const unsigned char* const last = first + within.length;
    if (search.Length() <= VLR_ASCIIPattern::kLongest)
        return RangeOf(VLR_ASCIIPattern(search.Bytes(), search.Length(), caseless), text, first, last);
    const auto at = [caseless](const VLR_String& string) {
        return [bytes = string.Bytes(), caseless](std::size_t i) {
            return caseless ? VLR_Unicode::FoldASCII(bytes[i]) : bytes[i];
        };
    };
    const std::size_t end = std::size_t { within.location } + within.length;
    const std::size_t found = VLR_FirstMatch(
        at(search), search.Length(), at(text), within.location, end, [](std::size_t) { return true; });
    if (found == end)
        return kVLR_RangeNotFound;
    return { static_cast<uint32_t>(found), search.Length() };
}

VLR_Range FindByKeys(const VLR_SystemRepresentation& text, const VLR_SystemRepresentation& search,
    const VLR_Range& within, VLR_StringComparisonType type)
{
    const VLR_SystemRepresentation::SearchKey& key = text.Key(type);
    const VLR_CodePoints& pattern = search.Key(type).codePoints;
    const auto& boundaries = key.boundaries;
    const auto isBefore = [&](uint32_t place, uint64_t location) { return boundaries[place] < location; };
    const auto firstPlace = std::lower_bound(key.places.begin(), key.places.end(), within.location, isBefore);
    const auto behindLast = std::lower_bound(
        firstPlace, key.places.end(), uint64_t { within.location } + within.length + 1, isBefore);
    if (firstPlace == behindLast)
        return kVLR_RangeNotFound; // the range lies inside one character

    const auto isWhole = [&](std::size_t start) {
        return boundaries[start] != VLR_SystemRepresentation::kInside
            && boundaries[start + pattern.size()] != VLR_SystemRepresentation::kInside;
    };
    const std::size_t end = *std::prev(behindLast);
    const std::size_t found = VLR_FirstMatch([&](std::size_t i) { return pattern[i]; }, pattern.size(),
        [&](std::size_t i) { return key.codePoints[i]; }, *firstPlace, end, isWhole);
    if (found == end)
        return kVLR_RangeNotFound;
    return { boundaries[found], boundaries[found + pattern.size()] - boundaries[found] };
}

/// The first match in a whole text, without a key of it all. A text that turns out not to be valid has none.
VLR_Range FindInStretches(const VLR_String& text, const VLR_SystemRepresentation::SearchPattern& pattern)
{
    const VLR_CodePoints& wanted = *pattern.key;
    const std::size_t length = wanted.size();
    VLR_StretchReader stretches(text, 0, *pattern.buffers);
    uint32_t starts[VLR_SystemRepresentation::SearchPattern::kLongest] = {}; // of the stretch at each of the last places
    std::size_t place = 0; // modulo length
    std::size_t matched = 0;
    uint32_t location = 0;
    VLR_Range found = kVLR_RangeNotFound;
    for (; stretches.Next(); location += stretches.UnitCount()) {
        const std::span<const char32_t> key = stretches.Key();
        for (std::size_t i = 0; i < key.size(); ++i) {
            starts[place] = i == 0 ? location : VLR_SystemRepresentation::kInside;
            place = place + 1 == length ? 0 : place + 1;
            while (matched > 0 && (matched == length || key[i] != wanted[matched]))
                matched = pattern.borders[matched];
            if (key[i] == wanted[matched])
                ++matched;
            const bool endsHere = matched == length && i + 1 == key.size();
            if (endsHere && found == kVLR_RangeNotFound && starts[place] != VLR_SystemRepresentation::kInside)
                found = { starts[place], location + stretches.UnitCount() - starts[place] };
        }
    }
    return stretches.IsValid() ? found : kVLR_RangeNotFound;
}

} // namespace

int32_t VLR_System::CompareStrings(const VLR_String& a, const VLR_String& b, VLR_StringComparisonType type)
{
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
    if (!IsASCII(text)) {
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
    if (IsASCII(text)) {
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

VLR_Range VLR_System::FindRangeOfString(
    const VLR_String& text, const VLR_String& search, const VLR_Range& within, VLR_StringComparisonType type)
{
    const uint64_t end = uint64_t { within.location } + within.length;
    if (text.systemRepresentation == nullptr && IsASCII(text) && IsASCII(search)) {
        if (end > text.Length())
            RaiseRangeFailure();
        if (search.IsEmpty())
            return kVLR_RangeNotFound;
        return FindASCII(text, search, within, type == VLR_StringComparisonCaseless);
    }
    const StVLR_Representation where(text);
    const StVLR_Representation what(search);
    if (!where->IsValid() || !what->IsValid())
        return kVLR_RangeNotFound;
    if (end > where->Units().size())
        RaiseRangeFailure();
    if (search.IsEmpty())
        return kVLR_RangeNotFound;
    return FindByKeys(*where, *what, within, type);
}

VLR_Range VLR_System::FindRangeOfString(
    const VLR_String& text, const VLR_String& search, VLR_StringComparisonType type)
{
    if (search.IsEmpty())
        return kVLR_RangeNotFound;
    if (text.systemRepresentation != nullptr)
        return FindRangeOfString(text, search, { 0, LengthOfString(text) }, type);
    const bool textIsASCII = IsASCII(text);
    if (textIsASCII && search.systemRepresentation == nullptr && IsASCII(search))
        return FindASCII(text, search, { 0, text.Length() }, type == VLR_StringComparisonCaseless);
    const StVLR_Representation what(search);
    if (!what->IsValid())
        return kVLR_RangeNotFound;
    const VLR_SystemRepresentation::SearchPattern& pattern = what->Pattern(type);
    if (textIsASCII && pattern.ascii)
        return RangeOf(*pattern.ascii, text, text.Bytes(), text.Bytes() + text.Length());
    if (textIsASCII && !pattern.keyIsASCII)
        return kVLR_RangeNotFound;
    if (!pattern.borders.empty())
        return FindInStretches(text, pattern);
    const VLR_SystemRepresentation where(text);
    if (!where.IsValid())
        return kVLR_RangeNotFound;
    return FindByKeys(where, *what, { 0, static_cast<uint32_t>(where.Units().size()) }, type);
}

uint32_t VLR_System::LengthOfString(const VLR_String& text)
{
    if (text.systemRepresentation == nullptr && IsASCII(text))
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
        RaiseRangeFailure();
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
    if (text.systemRepresentation == nullptr && IsASCII(text)) {
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
    if (!representation->IsValid())
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
