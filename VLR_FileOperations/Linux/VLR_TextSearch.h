#pragma once

#include "VLR_WipingAllocator.h"

#include <cstddef>
#include <cstdint>

/// For each prefix of a pattern the length of its longest border: a shorter prefix that is also its suffix.
template <class Pattern>
VLR_WipedVector<uint32_t> VLR_Borders(Pattern pattern, std::size_t patternLength)
{
    VLR_WipedVector<uint32_t> borders(patternLength + 1, 0);
    for (std::size_t i = 1, border = 0; i < patternLength; ++i) {
        while (border > 0 && pattern(i) != pattern(border))
            border = borders[border];
        if (pattern(i) == pattern(border))
            ++border;
        borders[i + 1] = static_cast<uint32_t>(border);
    }
    return borders;
}

/// Finds a pattern in a sequence in linear time, whatever both hold (Knuth, Morris and Pratt).
///
/// `Pattern` and `Text` answer the element at an index. Each match that overlaps earlier ones is tried too; `accepts`
/// decides whether the one that begins at an index counts.
template <class Pattern, class Text, class Accepts>
std::size_t VLR_FirstMatch(
    Pattern pattern, std::size_t patternLength, Text text, std::size_t first, std::size_t last, Accepts accepts)
{
    const VLR_WipedVector<uint32_t> borders = VLR_Borders(pattern, patternLength);
    std::size_t matched = 0;
    for (std::size_t i = first; i < last; ++i) {
        while (matched > 0 && (matched == patternLength || text(i) != pattern(matched)))
            matched = borders[matched];
        if (text(i) == pattern(matched))
            ++matched;
        if (matched == patternLength && accepts(i + 1 - patternLength))
            return i + 1 - patternLength;
    }
    return last;
}
