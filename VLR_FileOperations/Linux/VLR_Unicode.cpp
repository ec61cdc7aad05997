#include "VLR_Unicode.h"

#include "VLR_MemoryBlock.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstring>

namespace {

using VLR_Unicode::kFirstBeyondASCII;
constexpr uint64_t kHighBits = 0x8080808080808080;
constexpr char16_t kEscapedByte = 0xDC00;
constexpr int32_t kLongestMapping = 32; // UTF-16 units of one code point's decomposition or folding

/// Asks for a normaliser of the library. Its tables are built in, so that only memory can be missing.
const UNormalizer2* Obtain(const UNormalizer2* (*instance)(UErrorCode*))
{
    UErrorCode error = U_ZERO_ERROR;
    const UNormalizer2* const normalizer = instance(&error);
    if (U_FAILURE(error))
        VLR_RAISE(VLR_System::kCantAllocate);
    return normalizer;
}

const UNormalizer2* Decomposer()
{
    static const UNormalizer2* const normalizer = Obtain(unorm2_getNFDInstance);
    return normalizer;
}

const UNormalizer2* Composer()
{
    static const UNormalizer2* const normalizer = Obtain(unorm2_getNFCInstance);
    return normalizer;
}

void AppendCodePoints(const char16_t* units, int32_t length, VLR_CodePoints& to)
{
    for (int32_t i = 0; i < length;) {
        UChar32 codePoint = 0;
        U16_NEXT(units, i, length, codePoint);
        to.push_back(static_cast<char32_t>(codePoint));
    }
}

void AppendDecomposed(char32_t codePoint, VLR_CodePoints& to)
{
    if (codePoint < kFirstBeyondASCII) {
        to.push_back(codePoint);
        return;
    }
    char16_t units[kLongestMapping];
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length
        = unorm2_getDecomposition(Decomposer(), static_cast<UChar32>(codePoint), units, kLongestMapping, &error);
    if (length < 0 || U_FAILURE(error))
        to.push_back(codePoint); // it has none
    else
        AppendCodePoints(units, length, to);
}

void AppendFolded(char32_t codePoint, VLR_CodePoints& to)
{
    if (codePoint < kFirstBeyondASCII) {
        to.push_back(VLR_Unicode::FoldASCII(static_cast<unsigned char>(codePoint)));
        return;
    }
    char16_t units[2];
    int32_t unitCount = 0;
    U16_APPEND_UNSAFE(units, unitCount, static_cast<UChar32>(codePoint));
    char16_t folded[kLongestMapping];
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = u_strFoldCase(folded, kLongestMapping, units, unitCount, U_FOLD_CASE_DEFAULT, &error);
    if (U_FAILURE(error))
        to.push_back(codePoint);
    else
        AppendCodePoints(folded, length, to);
}

uint8_t CombiningClass(char32_t codePoint)
{
    return codePoint < kFirstBeyondASCII ? uint8_t { 0 } : u_getCombiningClass(static_cast<UChar32>(codePoint));
}

/// Puts one run of combining marks into canonical order, stable by class. Counts, so that a long run costs no more.
void OrderRun(char32_t* first, char32_t* last)
{
    const auto byClass = [](char32_t a, char32_t b) { return CombiningClass(a) < CombiningClass(b); };
    if (std::is_sorted(first, last, byClass))
        return;
    uint32_t places[257] = {};
    for (const char32_t* mark = first; mark != last; ++mark)
        ++places[CombiningClass(*mark) + 1];
    for (int i = 1; i < 257; ++i)
        places[i] += places[i - 1];
    VLR_CodePoints ordered(static_cast<std::size_t>(last - first));
    for (const char32_t* mark = first; mark != last; ++mark)
        ordered[places[CombiningClass(*mark)]++] = *mark;
    std::copy(ordered.begin(), ordered.end(), first);
}

void OrderMarks(char32_t* first, char32_t* last)
{
    const auto isMark = [](char32_t c) { return CombiningClass(c) != 0; };
    while (first != last) {
        char32_t* const run = std::find_if(first, last, isMark);
        first = std::find_if_not(run, last, isMark);
        OrderRun(run, first);
    }
}

uint64_t WordAt(const unsigned char* bytes)
{
    uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// The UTF-8 forms of the characters in question. Neither ASCII nor a continuation byte begins any of them.
bool BeginsWithEquivalentOfASCII(const unsigned char* at, uint32_t left)
{
    const unsigned char second = left > 1 ? at[1] : 0;
    const unsigned char third = left > 2 ? at[2] : 0;
    switch (at[0]) {
    case 0xC3: return second == 0x9F; // U+00DF: ss
    case 0xC5: return second == 0xBF; // U+017F: s
    case 0xCD: return second == 0xBE; // U+037E: the semicolon
    case 0xE1: return (second == 0xBA && third == 0x9E) || (second == 0xBF && third == 0xAF); // U+1E9E, U+1FEF: ss, `
    case 0xE2: return second == 0x84 && third == 0xAA; // U+212A: K
    case 0xEF: return second == 0xAC && third <= 0x86; // U+FB00 to U+FB06: ff, fi, fl, ffi, ffl, st, st
    default: return false;
    }
}

} // namespace

bool VLR_Unicode::IsASCII(const unsigned char* bytes, uint32_t length)
{
    uint32_t i = 0;
    for (; length - i >= 32; i += 32) { // a stretch at a time, so that a text that begins otherwise is told early
        const unsigned char* const at = bytes + i;
        if (((WordAt(at) | WordAt(at + 8) | WordAt(at + 16) | WordAt(at + 24)) & kHighBits) != 0)
            return false;
    }
    for (; length - i > 8; i += 8) {
        if ((WordAt(bytes + i) & kHighBits) != 0)
            return false;
    }
    if (length >= 8) // the last word may take in bytes that were looked at before
        return (WordAt(bytes + length - 8) & kHighBits) == 0;
    unsigned char rest = 0;
    for (; i < length; ++i)
        rest |= bytes[i];
    return rest < kFirstBeyondASCII;
}

bool VLR_Unicode::IsASCII(const VLR_MemoryBlock& text)
{
    return IsASCII(text.Bytes(), text.Length());
}

bool VLR_Unicode::HoldsEquivalentOfASCII(const unsigned char* bytes, uint32_t length)
{
    for (uint32_t i = 0; i < length;) {
        if (length - i >= 8 && (WordAt(bytes + i) & kHighBits) == 0)
            i += 8;
        else if (BeginsWithEquivalentOfASCII(bytes + i, length - i))
            return true;
        else
            ++i;
    }
    return false;
}

uint32_t VLR_Unicode::CountUnits(const unsigned char* bytes, uint32_t length)
{
    uint32_t count = 0;
    for (uint32_t i = 0; i < length;) {
        UChar32 codePoint = 0;
        U8_NEXT(bytes, i, length, codePoint);
        if (codePoint < 0)
            return kNoUnits;
        count += static_cast<uint32_t>(U16_LENGTH(codePoint));
    }
    return count;
}

VLR_UTF16 VLR_Unicode::Decode(const unsigned char* bytes, uint32_t length, std::size_t& validUnits)
{
    VLR_UTF16 units(length); // never more units than bytes
    std::size_t count = 0;
    bool isValid = true;
    for (std::size_t i = 0; i < length;) {
        const std::size_t start = i;
        UChar32 codePoint = 0;
        U8_NEXT(bytes, i, std::size_t { length }, codePoint);
        if (codePoint >= 0) {
            U16_APPEND_UNSAFE(units.data(), count, codePoint);
            continue;
        }
        if (isValid)
            validUnits = count;
        isValid = false;
        for (std::size_t bad = start; bad < i; ++bad)
            units[count++] = static_cast<char16_t>(kEscapedByte + bytes[bad]);
    }
    units.resize(count);
    if (isValid)
        validUnits = count;
    return units;
}

char32_t VLR_Unicode::CodePointAt(const unsigned char* bytes, uint32_t length, uint32_t offset)
{
    UChar32 codePoint = 0;
    U8_NEXT(bytes, offset, length, codePoint);
    return codePoint >= 0 ? static_cast<char32_t>(codePoint) : kReplacement;
}

bool VLR_Unicode::DecodeNext(const unsigned char* bytes, uint32_t length, uint32_t& offset, VLR_UTF16& units)
{
    const uint32_t start = offset;
    UChar32 codePoint = 0;
    U8_NEXT(bytes, offset, length, codePoint);
    if (codePoint < 0) {
        for (uint32_t bad = start; bad < offset; ++bad)
            units.push_back(static_cast<char16_t>(kEscapedByte + bytes[bad]));
        return false;
    }
    if (U_IS_BMP(codePoint)) {
        units.push_back(static_cast<char16_t>(codePoint));
    } else {
        units.push_back(static_cast<char16_t>(U16_LEAD(codePoint)));
        units.push_back(static_cast<char16_t>(U16_TRAIL(codePoint)));
    }
    return true;
}

void VLR_Unicode::Mend(VLR_UTF16& units)
{
    for (std::size_t i = 0; i < units.size();) {
        const std::size_t start = i;
        UChar32 codePoint = 0;
        U16_NEXT(units, i, units.size(), codePoint);
        if (U_IS_SURROGATE(codePoint))
            units[start] = kReplacement;
    }
}

void VLR_Unicode::StoreUTF8(const VLR_UTF16& units, VLR_MemoryBlock& to)
{
    uint64_t size = 0;
    for (std::size_t i = 0; i < units.size();) {
        UChar32 codePoint = 0;
        U16_NEXT(units, i, units.size(), codePoint);
        size += static_cast<uint64_t>(U8_LENGTH(codePoint));
    }
    to.Resize(static_cast<uint32_t>(std::min<uint64_t>(size, UINT32_MAX)));
    unsigned char* const bytes = to.Bytes();
    std::size_t filled = 0;
    for (std::size_t i = 0; i < units.size();) {
        UChar32 codePoint = 0;
        U16_NEXT(units, i, units.size(), codePoint);
        U8_APPEND_UNSAFE(bytes, filled, codePoint);
    }
}

bool VLR_Unicode::HasBoundaryBefore(char32_t codePoint)
{
    return codePoint < kFirstBeyondASCII || unorm2_hasBoundaryBefore(Composer(), static_cast<UChar32>(codePoint)) != 0;
}

VLR_Unicode::KeyMaker::KeyMaker(VLR_StringComparisonType type, VLR_CodePoints& key)
    : caseless(type == VLR_StringComparisonCaseless)
    , key(key)
{
}

void VLR_Unicode::KeyMaker::Append(const char16_t* first, const char16_t* last)
{
    if (last - first == 1 && *first < kFirstBeyondASCII) {
        key.push_back(caseless ? FoldASCII(static_cast<unsigned char>(*first)) : *first);
        return;
    }
    decomposed.clear();
    while (first != last) {
        UChar32 codePoint = 0;
        const char16_t* const here = first;
        std::ptrdiff_t used = 0;
        U16_NEXT(here, used, last - here, codePoint);
        first += used;
        AppendDecomposed(static_cast<char32_t>(codePoint), decomposed);
    }
    OrderMarks(decomposed.data(), decomposed.data() + decomposed.size());
    if (!caseless) {
        key.insert(key.end(), decomposed.begin(), decomposed.end());
        return;
    }
    folded.clear();
    for (const char32_t c : decomposed)
        AppendFolded(c, folded);
    const std::size_t start = key.size();
    for (const char32_t c : folded)
        AppendDecomposed(c, key);
    OrderMarks(key.data() + start, key.data() + key.size());
}

VLR_CodePoints VLR_Unicode::KeyOf(const VLR_UTF16& text, VLR_StringComparisonType type)
{
    VLR_CodePoints key;
    key.reserve(text.size());
    KeyMaker(type, key).Append(text.data(), text.data() + text.size());
    return key;
}
