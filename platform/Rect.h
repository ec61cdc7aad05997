#pragma once

#include <cstdint>

/// Edges in screen units, in the order of the older graphics interfaces.
struct Rect {
    int16_t top = 0;
    int16_t left = 0;
    int16_t bottom = 0;
    int16_t right = 0;

    bool operator==(const Rect&) const = default;
};
