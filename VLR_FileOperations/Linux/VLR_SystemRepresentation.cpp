#include "VLR_SystemRepresentation.h"

#include "VLR_String.h"

VLR_SystemRepresentation::VLR_SystemRepresentation(const VLR_String& string)
    : text(VLR_Unicode::Decode(string.Bytes(), string.Length(), isValid))
{
    for (const char32_t c : text)
        length += VLR_Unicode::UnitsOf(c);
}

const VLR_SystemRepresentation::SearchKey& VLR_SystemRepresentation::Key(VLR_StringComparisonType type) const
{
    const std::size_t which = type == VLR_StringComparisonCaseless ? 1 : 0;
    if (!hasKey[which]) {
        keys[which] = MakeKey(type);
        hasKey[which] = true;
    }
    return keys[which];
}

VLR_SystemRepresentation::SearchKey VLR_SystemRepresentation::MakeKey(VLR_StringComparisonType type) const
{
    SearchKey key;
    key.codePoints.reserve(text.size());
    key.boundaries.reserve(text.size() + 1);
    uint32_t offset = 0;
    for (std::size_t first = 0; first < text.size();) {
        std::size_t last = first + 1;
        while (last < text.size() && !VLR_Unicode::HasBoundaryBefore(text[last]))
            ++last;
        VLR_Unicode::AppendKey(text.data() + first, text.data() + last, type, key.codePoints);
        if (key.boundaries.size() < key.codePoints.size()) {
            key.places.push_back(static_cast<uint32_t>(key.boundaries.size()));
            key.boundaries.push_back(offset);
        }
        key.boundaries.resize(key.codePoints.size(), kInside);
        for (; first < last; ++first)
            offset += VLR_Unicode::UnitsOf(text[first]);
    }
    key.places.push_back(static_cast<uint32_t>(key.boundaries.size()));
    key.boundaries.push_back(offset);
    return key;
}
