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

constexpr char32_t kFirstBeyondASCII = 0x80;
constexpr char32_t kEscapedByte = 0xDC00;
constexpr int32_t kLongestMapping = 32; // UTF-16 units of one code point's decomposition or folding

const UNormalizer2* Decomposer()
{
    static const UNormalizer2* const normalizer = [] {
        UErrorCode error = U_ZERO_ERROR;
        const UNormalizer2* const instance = unorm2_getNFDInstance(&error);
        if (U_FAILURE(error))
            VLR_RAISE(VLR_System::kCantAllocate); // its tables are built in: only memory can be missing
        return instance;
    }();
    return normalizer;
}

void AppendUnits(const UChar* units, int32_t length, VLR_CodePoints& to)
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
    UChar units[kLongestMapping];
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length
        = unorm2_getDecomposition(Decomposer(), static_cast<UChar32>(codePoint), units, kLongestMapping, &error);
    if (length < 0 || U_FAILURE(error))
        to.push_back(codePoint); // it has none
    else
        AppendUnits(units, length, to);
}

void AppendFolded(char32_t codePoint, VLR_CodePoints& to)
{
    if (codePoint < kFirstBeyondASCII) {
        to.push_back(VLR_Unicode::FoldASCII(static_cast<unsigned char>(codePoint)));
        return;
    }
    UChar units[2];
    int32_t unitCount = 0;
    U16_APPEND_UNSAFE(units, unitCount, static_cast<UChar32>(codePoint));
    UChar folded[kLongestMapping];
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = u_strFoldCase(folded, kLongestMapping, units, unitCount, U_FOLD_CASE_DEFAULT, &error);
    if (U_FAILURE(error))
        to.push_back(codePoint);
    else
        AppendUnits(folded, length, to);
}

/// Puts each run of combining marks behind `start` into canonical order: stable by combining class.
void OrderMarks(VLR_CodePoints& text, std::size_t start)
{
    const auto classOf = [](char32_t c) { return c < kFirstBeyondASCII ? 0 : u_getCombiningClass(static_cast<UChar32>(c)); };
    for (std::size_t i = start; i < text.size();) {
        if (classOf(text[i]) == 0) {
            ++i;
            continue;
        }
        std::size_t end = i;
        while (end < text.size() && classOf(text[end]) != 0)
            ++end;
        if (end - i > 1)
            std::stable_sort(text.begin() + static_cast<std::ptrdiff_t>(i),
                text.begin() + static_cast<std::ptrdiff_t>(end),
                [&](char32_t a, char32_t b) { return classOf(a) < classOf(b); });
        i = end;
    }
}

void AppendOrderedDecomposition(const char32_t* first, const char32_t* last, VLR_CodePoints& to)
{
    const std::size_t start = to.size();
    for (const char32_t* c = first; c != last; ++c)
        AppendDecomposed(*c, to);
    OrderMarks(to, start);
}

} // namespace

bool VLR_Unicode::IsASCII(const unsigned char* bytes, uint32_t length)
{
    uint32_t i = 0;
    for (; i + 8 <= length; i += 8) {
        uint64_t eight = 0;
        std::memcpy(&eight, bytes + i, sizeof eight);
        if ((eight & 0x8080808080808080u) != 0)
            return false;
    }
    for (; i < length; ++i) {
        if (bytes[i] >= kFirstBeyondASCII)
            return false;
    }
    return true;
}

VLR_CodePoints VLR_Unicode::Decode(const unsigned char* bytes, uint32_t length, bool& isValid)
{
    VLR_CodePoints text;
    text.reserve(length);
    isValid = true;
    for (uint32_t i = 0; i < length;) {
        const uint32_t start = i;
        UChar32 codePoint = 0;
        U8_NEXT(bytes, i, length, codePoint);
        if (codePoint >= 0) {
            text.push_back(static_cast<char32_t>(codePoint));
            continue;
        }
        isValid = false;
        for (uint32_t bad = start; bad < i; ++bad)
            text.push_back(kEscapedByte + bytes[bad]);
    }
    return text;
}

void VLR_Unicode::AppendUTF8(VLR_MemoryBlock& text, char32_t codePoint)
{
    unsigned char bytes[4];
    uint32_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, static_cast<uint32_t>(codePoint));
    text.Append(bytes, length);
}

bool VLR_Unicode::HasBoundaryBefore(char32_t codePoint)
{
    return codePoint < kFirstBeyondASCII
        || unorm2_hasBoundaryBefore(Decomposer(), static_cast<UChar32>(codePoint)) != 0;
}

void VLR_Unicode::AppendKey(
    const char32_t* first, const char32_t* last, VLR_StringComparisonType type, VLR_CodePoints& key)
{
    if (type != VLR_StringComparisonCaseless) {
        AppendOrderedDecomposition(first, last, key);
        return;
    }
    VLR_CodePoints decomposed;
    AppendOrderedDecomposition(first, last, decomposed);
    VLR_CodePoints folded;
    for (const char32_t c : decomposed)
        AppendFolded(c, folded);
    AppendOrderedDecomposition(folded.data(), folded.data() + folded.size(), key);
}

VLR_CodePoints VLR_Unicode::KeyOf(const VLR_CodePoints& text, VLR_StringComparisonType type)
{
    VLR_CodePoints key;
    key.reserve(text.size());
    AppendKey(text.data(), text.data() + text.size(), type, key);
    return key;
}
