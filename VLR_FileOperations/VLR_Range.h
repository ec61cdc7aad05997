#pragma once

#include <cstdint>

/// A stretch of text in UTF-16 code units, whatever the encoding in which the text is stored.
struct VLR_Range {
    uint32_t location = 0;
    uint32_t length = 0;

    bool operator==(const VLR_Range&) const = default;
};

/// The answer of a search that found nothing.
inline constexpr VLR_Range kVLR_RangeNotFound { 0x7FFFFFFF, 0 };
