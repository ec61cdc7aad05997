#include "VLR_SystemRepresentation.h"

#include "VLR_String.h"
#include "VLR_TextSearch.h"

#include <unicode/utf16.h>

#include <algorithm>
#include <stdexcept>

namespace {

/// Where the stretch that begins at `first` meets the next boundary.
std::size_t NextBoundary(const VLR_UTF16& units, std::size_t first)
{
    std::size_t last = first;
    U16_FWD_1(units, last, units.size());
    while (last < units.size()) {
        std::size_t behind = last;
        UChar32 codePoint = 0;
        U16_NEXT(units, behind, units.size(), codePoint);
        if (VLR_Unicode::HasBoundaryBefore(static_cast<char32_t>(codePoint)))
            break;
        last = behind;
    }
    return last;
}

} // namespace

VLR_SystemRepresentation::VLR_SystemRepresentation(const VLR_String& text)
    : units(VLR_Unicode::Decode(text.Bytes(), text.Length(), validUnits))
{
}

const VLR_SystemRepresentation::SearchKey& VLR_SystemRepresentation::Key(VLR_StringComparisonType type) const
{
    std::unique_ptr<SearchKey>& key = keys[type == VLR_StringComparisonCaseless ? 1 : 0];
    if (!key)
        key = std::make_unique<SearchKey>(MakeKey(type));
    return *key;
}

const VLR_SystemRepresentation::SearchPattern& VLR_SystemRepresentation::KeepPattern(
    VLR_StringComparisonType type) const
{
    std::unique_ptr<SearchPattern>& pattern = patterns[type == VLR_StringComparisonCaseless ? 1 : 0];
    pattern = std::make_unique<SearchPattern>(MakePattern(type));
    return *pattern;
}

VLR_SystemRepresentation::SearchPattern VLR_SystemRepresentation::MakePattern(VLR_StringComparisonType type) const
{
    SearchPattern pattern;
    pattern.key = &Key(type).codePoints;
    pattern.buffers = std::make_unique<VLR_StretchBuffers>(type);
    if (pattern.key->size() <= SearchPattern::kLongest)
        pattern.borders = VLR_Borders([&](std::size_t i) { return (*pattern.key)[i]; }, pattern.key->size());
    const auto isASCII = [](char32_t c) { return c < 0x80; };
    pattern.keyIsASCII = std::all_of(pattern.key->begin(), pattern.key->end(), isASCII);
    if (!std::all_of(units.begin(), units.end(), isASCII) || units.empty() || units.size() > VLR_ASCIIPattern::kLongest)
        return pattern;
    const VLR_WipedVector<unsigned char> bytes(units.begin(), units.end());
    pattern.ascii = std::make_unique<VLR_ASCIIPattern>(
        bytes.data(), static_cast<uint32_t>(bytes.size()), type == VLR_StringComparisonCaseless);
    return pattern;
}

VLR_SystemRepresentation::SearchKey VLR_SystemRepresentation::MakeKey(VLR_StringComparisonType type) const
{
    SearchKey key;
    key.codePoints.reserve(units.size());
    key.boundaries.reserve(units.size() + 1);
    key.places.reserve(units.size() + 1);
    const auto addBoundary = [&key](std::size_t location) {
        key.boundaries.resize(key.codePoints.size(), kInside);
        key.places.push_back(static_cast<uint32_t>(key.boundaries.size()));
        key.boundaries.push_back(static_cast<uint32_t>(location));
    };
    VLR_Unicode::KeyMaker maker(type, key.codePoints);
    for (std::size_t first = 0; first < units.size();) {
        addBoundary(first);
        const std::size_t last = NextBoundary(units, first);
        maker.Append(units.data() + first, units.data() + last);
        first = last;
    }
    addBoundary(units.size());
    return key;
}

void VLR_RaiseRangeFailure()
{
    throw std::out_of_range("range past the end of the text");
}
