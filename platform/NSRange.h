#pragma once

#include <cstddef>
#include <limits>

/// A stretch of text in UTF-16 code units, as wide as the platform counts.
struct NSRange {
    std::size_t location = 0;
    std::size_t length = 0;

    bool operator==(const NSRange&) const = default;
};

/// The location of what was not found; its length is 0.
inline constexpr std::size_t NSNotFound = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max());
