#include "VLR_SystemRepresentation.h"

#include "VLR_String.h"

#include <unicode/utf16.h>

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
