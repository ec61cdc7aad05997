#include "TextModel.h"

#include "FuzzInput.h"

#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace {

int32_t lengthOf(const std::u16string& units)
{
    return static_cast<int32_t>(units.size());
}

const UNormalizer2* normalizer(const UNormalizer2* (*form)(UErrorCode*))
{
    UErrorCode error = U_ZERO_ERROR;
    return form(&error);
}

std::u16string inForm(const UNormalizer2* form, const std::u16string& units)
{
    std::u16string result(18 * units.size() + 1, u'\0'); // no code unit becomes more
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length
        = unorm2_normalize(form, units.data(), lengthOf(units), result.data(), lengthOf(result), &error);
    expect(U_SUCCESS(error), "the library normalizes");
    result.resize(static_cast<std::size_t>(length));
    return result;
}

std::u16string decomposed(const std::u16string& units)
{
    return inForm(normalizer(unorm2_getNFDInstance), units);
}

std::u16string folded(const std::u16string& units)
{
    std::u16string result(3 * units.size() + 1, u'\0');
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length
        = u_strFoldCase(result.data(), lengthOf(result), units.data(), lengthOf(units), U_FOLD_CASE_DEFAULT, &error);
    expect(U_SUCCESS(error), "the library folds");
    result.resize(static_cast<std::size_t>(length));
    return result;
}

/// Where a match may begin or end.
std::vector<uint32_t> boundariesOf(const std::u16string& text)
{
    std::vector<uint32_t> places;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t start = i;
        UChar32 c = 0;
        U16_NEXT(text, i, text.size(), c);
        if (start == 0 || unorm2_hasBoundaryBefore(normalizer(unorm2_getNFCInstance), c) != 0)
            places.push_back(static_cast<uint32_t>(start));
    }
    places.push_back(static_cast<uint32_t>(text.size()));
    return places;
}

} // namespace

std::u16string TextModel::unitsOf(std::string_view utf8)
{
    const auto* const bytes = reinterpret_cast<const uint8_t*>(utf8.data());
    std::u16string units;
    for (std::size_t i = 0; i < utf8.size();) {
        const std::size_t start = i;
        UChar32 c = 0;
        U8_NEXT(bytes, i, utf8.size(), c);
        if (c >= 0 && U_IS_BMP(c)) {
            units += static_cast<char16_t>(c);
        } else if (c >= 0) {
            units += static_cast<char16_t>(U16_LEAD(c));
            units += static_cast<char16_t>(U16_TRAIL(c));
        } else {
            for (const char byte : utf8.substr(start, i - start))
                units += static_cast<char16_t>(0xDC00 + static_cast<unsigned char>(byte));
        }
    }
    return units;
}

std::string TextModel::utf8Of(const std::u16string& units)
{
    std::string utf8;
    for (std::size_t i = 0; i < units.size();) {
        UChar32 c = 0;
        U16_NEXT(units, i, units.size(), c);
        if (U_IS_SURROGATE(c))
            c = 0xFFFD;
        char bytes[U8_MAX_LENGTH];
        std::size_t count = 0;
        U8_APPEND_UNSAFE(bytes, count, c);
        utf8.append(bytes, count);
    }
    return utf8;
}

bool TextModel::isValid(std::string_view utf8)
{
    return utf8Of(unitsOf(utf8)) == utf8;
}

std::u16string TextModel::keyOf(const std::u16string& units, VLR_StringComparisonType type)
{
    const std::u16string key = decomposed(units);
    return type == VLR_StringComparisonCaseless ? decomposed(folded(key)) : key;
}

std::u16string TextModel::composed(const std::u16string& units)
{
    return inForm(normalizer(unorm2_getNFCInstance), units);
}

int32_t TextModel::compare(const std::u16string& a, const std::u16string& b, VLR_StringComparisonType type)
{
    const std::u16string left = keyOf(a, type);
    const std::u16string right = keyOf(b, type);
    const int32_t order
        = u_strCompare(left.data(), lengthOf(left), right.data(), lengthOf(right), /*codePointOrder=*/true);
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

int32_t TextModel::compare(std::string_view a, std::string_view b, VLR_StringComparisonType type)
{
    return compare(unitsOf(a), unitsOf(b), type);
}

VLR_Range TextModel::find(
    const std::u16string& text, const std::u16string& search, const VLR_Range& within, VLR_StringComparisonType type)
{
    if (search.empty())
        return kVLR_RangeNotFound;
    const std::u16string key = keyOf(search, type);
    const std::vector<uint32_t> places = boundariesOf(text);
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (places[i] < within.location)
            continue;
        for (std::size_t j = i + 1; j < places.size() && places[j] <= within.location + within.length; ++j) {
            const std::u16string found = keyOf(text.substr(places[i], places[j] - places[i]), type);
            if (found == key)
                return { places[i], places[j] - places[i] };
            if (found.size() > key.size())
                break;
        }
    }
    return kVLR_RangeNotFound;
}

std::u16string TextModel::lowered(const std::u16string& units)
{
    std::u16string result(3 * units.size() + 1, u'\0');
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = u_strToLower(result.data(), lengthOf(result), units.data(), lengthOf(units), "", &error);
    expect(U_SUCCESS(error), "the library lowers");
    result.resize(static_cast<std::size_t>(length));
    return result;
}
