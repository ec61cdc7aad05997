#pragma once

#include "VLR_WipingAllocator.h"

#include <cstddef>
#include <cstdint>

/// Finds a pattern in a sequence in linear time, whatever both hold (Knuth, Morris and Pratt).
///
/// `Pattern` and `Text` answer the element at an index. Each match that overlaps earlier ones is tried too; `accepts`
/// decides whether the one that begins at an index counts.
template <class Pattern, class Text, class Accepts>
std::size_t VLR_FirstMatch(
    Pattern pattern, std::size_t patternLength, Text text, std::size_t first, std::size_t last, Accepts accepts)
{
    VLR_WipedVector<uint32_t> fallback(patternLength + 1, 0); // length of the longest border of each prefix
    for (std::size_t i = 1, border = 0; i < patternLength; ++i) {
        while (border > 0 && pattern(i) != pattern(border))
            border = fallback[border];
        if (pattern(i) == pattern(border))
            ++border;
        fallback[i + 1] = static_cast<uint32_t>(border);
    }
    std::size_t matched = 0;
    for (std::size_t i = first; i < last; ++i) {
        while (matched > 0 && (matched == patternLength || text(i) != pattern(matched)))
            matched = fallback[matched];
        if (text(i) == pattern(matched))
            ++matched;
        if (matched == patternLength && accepts(i + 1 - patternLength))
            return i + 1 - patternLength;
    }
    return last;
}
