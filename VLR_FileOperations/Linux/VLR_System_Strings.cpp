#include "VLR_System.h"

#include "VLR_Exception.h"
#include "VLR_MacRoman.h"
#include "VLR_SipHash.h"
#include "VLR_String.h"
#include "VLR_SystemRepresentation.h"
#include "VLR_TextSearch.h"
#include "VLR_Unicode.h"

#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <compare>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>

#include <sys/random.h>

uint32_t gSystemRepresentationLeakDetector = 0;

namespace {

using UTF16 = VLR_WipedVector<UChar>;

bool IsASCII(const VLR_MemoryBlock& text)
{
    return VLR_Unicode::IsASCII(text.Bytes(), text.Length());
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

private:
    std::optional<VLR_SystemRepresentation> made;
    const VLR_SystemRepresentation* used;
};

void AppendUTF16(char32_t codePoint, UTF16& units)
{
    UChar pair[2];
    int32_t count = 0;
    U16_APPEND_UNSAFE(pair, count, static_cast<UChar32>(codePoint));
    units.insert(units.end(), pair, pair + count);
}

UTF16 UnitsOf(const VLR_CodePoints& text)
{
    UTF16 units;
    units.reserve(text.size());
    for (const char32_t c : text)
        AppendUTF16(c, units);
    return units;
}

VLR_CodePoints CodePointsOf(const UChar* units, std::size_t count)
{
    VLR_CodePoints text;
    text.reserve(count);
    for (std::size_t i = 0; i < count;) {
        UChar32 codePoint = 0;
        U16_NEXT(units, i, count, codePoint);
        text.push_back(U_IS_SURROGATE(codePoint) ? VLR_Unicode::kReplacement : static_cast<char32_t>(codePoint));
    }
    return text;
}

void StoreUTF8(const VLR_CodePoints& text, VLR_MemoryBlock& to)
{
    to.Resize(0);
    to.Reserve(static_cast<uint32_t>(std::min<std::size_t>(text.size(), UINT32_MAX)));
    for (const char32_t c : text) {
        if (to.Length() + 4 > to.Capacity())
            to.Reserve(to.Length() + to.Length() / 2 + 16);
        VLR_Unicode::AppendUTF8(to, c);
    }
}

// Conversion

bool IsKnown(VLR_CharacterSetType set)
{
    return set >= VLR_CharacterSetUTF8 && set <= VLR_CharacterSetUTF16Terminated;
}

VLR_CodePoints DecodeSingleBytes(const VLR_MemoryBlock& from, VLR_CharacterSetType set)
{
    VLR_CodePoints text;
    text.reserve(from.Length());
    for (uint32_t i = 0; i < from.Length(); ++i) {
        const unsigned char byte = from.Bytes()[i];
        if (byte < 0x80)
            text.push_back(byte);
        else
            text.push_back(set == VLR_CharacterSetMacRoman ? kMacRomanUpperHalf[byte - 0x80] : VLR_Unicode::kReplacement);
    }
    return text;
}

VLR_CodePoints DecodeUTF16(const VLR_MemoryBlock& from)
{
    UTF16 units(from.Length() / sizeof(UChar));
    VLR_System::MemCopy(units.data(), from.Bytes(), static_cast<uint32_t>(units.size() * sizeof(UChar)));
    return CodePointsOf(units.data(), units.size());
}

/// Up to the first byte that is not valid.
VLR_CodePoints DecodeValidUTF8(const VLR_MemoryBlock& from)
{
    bool isValid = false;
    VLR_CodePoints text = VLR_Unicode::Decode(from.Bytes(), from.Length(), isValid);
    if (!isValid)
        text.erase(std::find_if(text.begin(), text.end(), [](char32_t c) { return U_IS_SURROGATE(c); }), text.end());
    return text;
}

VLR_CodePoints Decode(const VLR_MemoryBlock& from, VLR_CharacterSetType set)
{
    switch (set) {
    case VLR_CharacterSetUTF8: return DecodeValidUTF8(from);
    case VLR_CharacterSetUTF16:
    case VLR_CharacterSetUTF16Terminated: return DecodeUTF16(from);
    case VLR_CharacterSetASCII:
    case VLR_CharacterSetMacRoman: break;
    }
    return DecodeSingleBytes(from, set);
}

/// The byte for a code point, absent if the set has none.
std::optional<unsigned char> SingleByte(char32_t codePoint, VLR_CharacterSetType set)
{
    if (codePoint < 0x80)
        return static_cast<unsigned char>(codePoint);
    if (set != VLR_CharacterSetMacRoman)
        return std::nullopt;
    const auto* const end = kMacRomanUpperHalf + 128;
    const auto* const found = std::find(kMacRomanUpperHalf, end, codePoint);
    if (found == end)
        return std::nullopt;
    return static_cast<unsigned char>(0x80 + (found - kMacRomanUpperHalf));
}

void EncodeSingleBytes(const VLR_CodePoints& text, VLR_CharacterSetType set, VLR_MemoryBlock& to)
{
    VLR_WipedVector<unsigned char> bytes;
    bytes.reserve(text.size());
    for (const char32_t c : text) {
        const std::optional<unsigned char> byte = SingleByte(c, set);
        if (!byte)
            break;
        bytes.push_back(*byte);
    }
    to.Resize(static_cast<uint32_t>(bytes.size()));
    VLR_System::MemCopy(to.Bytes(), bytes.data(), to.Length());
}

void EncodeUTF16(const VLR_CodePoints& text, bool terminated, VLR_MemoryBlock& to)
{
    UTF16 units = UnitsOf(text);
    if (terminated)
        units.push_back(0);
    to.Resize(static_cast<uint32_t>(units.size() * sizeof(UChar)));
    VLR_System::MemCopy(to.Bytes(), units.data(), to.Length());
}

void Encode(const VLR_CodePoints& text, VLR_CharacterSetType set, VLR_MemoryBlock& to)
{
    switch (set) {
    case VLR_CharacterSetUTF8: StoreUTF8(text, to); break;
    case VLR_CharacterSetUTF16: EncodeUTF16(text, /*terminated=*/false, to); break;
    case VLR_CharacterSetUTF16Terminated: EncodeUTF16(text, /*terminated=*/true, to); break;
    case VLR_CharacterSetASCII:
    case VLR_CharacterSetMacRoman: EncodeSingleBytes(text, set, to); break;
    }
}

// Comparison

int32_t SignOf(std::strong_ordering order)
{
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

int32_t CompareASCII(const VLR_String& a, const VLR_String& b, VLR_StringComparisonType type)
{
    const uint32_t shorter = std::min(a.Length(), b.Length());
    if (type != VLR_StringComparisonCaseless) {
        const int32_t order = VLR_System::MemCompare(a.Bytes(), b.Bytes(), shorter);
        return order != 0 ? SignOf(order <=> 0) : SignOf(a.Length() <=> b.Length());
    }
    for (uint32_t i = 0; i < shorter; ++i) {
        const unsigned char left = VLR_Unicode::FoldASCII(a.Bytes()[i]);
        const unsigned char right = VLR_Unicode::FoldASCII(b.Bytes()[i]);
        if (left != right)
            return SignOf(left <=> right);
    }
    return SignOf(a.Length() <=> b.Length());
}

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

// Search

VLR_Range FindASCII(const VLR_String& text, const VLR_String& search, const VLR_Range& within, bool caseless)
{
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
    const uint32_t end = within.location + within.length; // inside the text, so it does not wrap
    const auto& boundaries = key.boundaries;

    const auto place = std::lower_bound(key.places.begin(), key.places.end(), within.location,
        [&](uint32_t keyPlace, uint32_t location) { return boundaries[keyPlace] < location; });
    if (place == key.places.end())
        return kVLR_RangeNotFound;
    const auto isWhole = [&](std::size_t start) {
        const uint32_t from = boundaries[start];
        const uint32_t to = boundaries[start + pattern.size()];
        return from != VLR_SystemRepresentation::kInside && to != VLR_SystemRepresentation::kInside && to <= end;
    };
    const std::size_t found = VLR_FirstMatch([&](std::size_t i) { return pattern[i]; }, pattern.size(),
        [&](std::size_t i) { return key.codePoints[i]; }, *place, key.codePoints.size(), isWhole);
    if (found >= key.codePoints.size())
        return kVLR_RangeNotFound;
    return { boundaries[found], boundaries[found + pattern.size()] - boundaries[found] };
}

} // namespace

void VLR_System::ConvertString(
    const VLR_MemoryBlock& from, VLR_CharacterSetType fromSet, VLR_MemoryBlock& to, VLR_CharacterSetType toSet)
{
    if (!IsKnown(fromSet) || !IsKnown(toSet))
        VLR_RAISE(kUnknownEncoding);
    const bool sameBytes = fromSet == toSet && fromSet == VLR_CharacterSetUTF8;
    const bool isOneByteEach = fromSet != VLR_CharacterSetUTF16 && fromSet != VLR_CharacterSetUTF16Terminated
        && toSet != VLR_CharacterSetUTF16 && toSet != VLR_CharacterSetUTF16Terminated;
    if (sameBytes || (isOneByteEach && IsASCII(from))) {
        to.Resize(from.Length());
        MemCopy(to.Bytes(), from.Bytes(), from.Length());
        return;
    }
    Encode(Decode(from, fromSet), toSet, to);
}

uint32_t VLR_System::CStringLength(const char* text)
{
    return static_cast<uint32_t>(std::strlen(text));
}

int16_t VLR_System::CStringCompare(const char* a, const char* b)
{
    return static_cast<int16_t>(std::strcmp(a, b));
}

int16_t VLR_System::CStringCompare(const char* a, const char* b, unsigned int n)
{
    return static_cast<int16_t>(std::strncmp(a, b, n));
}

char* VLR_System::CStringCopy(char* destination, const char* source, unsigned int n)
{
    std::strncpy(destination, source, n);
    destination[n] = '\0';
    return destination;
}

int32_t VLR_System::CompareStrings(const VLR_String& a, const VLR_String& b, VLR_StringComparisonType type)
{
    if (IsASCII(a) && IsASCII(b))
        return CompareASCII(a, b, type);
    const StVLR_Representation left(a);
    const StVLR_Representation right(b);
    return SignOf(left->Key(type).codePoints <=> right->Key(type).codePoints);
}

uint64_t VLR_System::HashString(const VLR_String& text, VLR_StringComparisonType type)
{
    const HashKey& hashKey = ProcessHashKey();
    VLR_SipHash hash(hashKey.halves[0], hashKey.halves[1]);
    const bool caseless = type == VLR_StringComparisonCaseless;
    if (IsASCII(text)) {
        for (uint32_t i = 0; i < text.Length(); ++i)
            hash.Add(caseless ? VLR_Unicode::FoldASCII(text.Bytes()[i]) : text.Bytes()[i]);
        return hash.Finish();
    }
    const StVLR_Representation representation(text);
    VLR_MemoryBlock key; // as UTF-8, in which a key of ASCII alone is the same as the ASCII text's
    StoreUTF8(representation->Key(type).codePoints, key);
    for (uint32_t i = 0; i < key.Length(); ++i)
        hash.Add(key.Bytes()[i]);
    return hash.Finish();
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
            throw std::out_of_range("range past the end of the text");
        if (search.IsEmpty())
            return kVLR_RangeNotFound;
        return FindASCII(text, search, within, type == VLR_StringComparisonCaseless);
    }
    const StVLR_Representation where(text);
    const StVLR_Representation what(search);
    if (!where->IsValid() || !what->IsValid())
        return kVLR_RangeNotFound;
    if (end > where->Length())
        throw std::out_of_range("range past the end of the text");
    if (search.IsEmpty())
        return kVLR_RangeNotFound;
    return FindByKeys(*where.operator->(), *what.operator->(), within, type);
}

VLR_Range VLR_System::FindRangeOfString(
    const VLR_String& text, const VLR_String& search, VLR_StringComparisonType type)
{
    return FindRangeOfString(text, search, { 0, LengthOfString(text) }, type);
}

uint32_t VLR_System::LengthOfString(const VLR_String& text)
{
    if (text.systemRepresentation == nullptr && IsASCII(text))
        return text.Length();
    const StVLR_Representation representation(text);
    return representation->IsValid() ? representation->Length() : 0;
}

void VLR_System::ReplaceRangeOfString(VLR_String& text, const VLR_String& replacement, const VLR_Range& range)
{
    const StVLR_Representation representation(text);
    if (!representation->IsValid() || uint64_t { range.location } + range.length > representation->Length())
        throw std::out_of_range("range past the end of the text");
    UTF16 units = UnitsOf(representation->Text());
    const UTF16 inserted = UnitsOf(DecodeValidUTF8(replacement));
    const auto first = units.erase(units.begin() + range.location, units.begin() + range.location + range.length);
    units.insert(first, inserted.begin(), inserted.end());
    VLR_String result;
    StoreUTF8(CodePointsOf(units.data(), units.size()), result);
    text = result;
}

VLR_String VLR_System::SubstringOfRange(const VLR_String& text, const VLR_Range& range)
{
    // The length in bytes, not in code units: callers with ASCII texts rely on this very limit.
    if (uint64_t { range.location } + range.length > text.Length())
        VLR_RAISE_CODE(VLR_ExceptionInternal);
    const StVLR_Representation representation(text);
    const UTF16 units = UnitsOf(representation->Text());
    if (!representation->IsValid() || std::size_t { range.location } + range.length > units.size())
        VLR_RAISE_CODE(VLR_ExceptionInternal);
    const UChar* const first = units.data() + range.location;
    const UChar* const end = std::find(first, first + range.length, u'\0');
    VLR_String result;
    StoreUTF8(CodePointsOf(first, static_cast<std::size_t>(end - first)), result);
    return result;
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
    const UTF16 units = UnitsOf(representation->Text());
    UTF16 lowered(3 * units.size() + 1); // no code unit becomes more than three
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = u_strToLower(lowered.data(), static_cast<int32_t>(lowered.size()), units.data(),
        static_cast<int32_t>(units.size()), "", &error);
    if (U_FAILURE(error))
        VLR_RAISE(kCantAllocate);
    VLR_String result;
    StoreUTF8(CodePointsOf(lowered.data(), static_cast<std::size_t>(length)), result);
    text = result;
}
