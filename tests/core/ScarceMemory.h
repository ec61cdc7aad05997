#pragma once

#include <cstddef>
#include <cstdint>

/// Lets a test program run out of memory: the language's allocations count, and fail when none is left. In a source of
/// its own, so that no compiler sees through the replaced operators.
struct ScarceMemory {
    static inline std::size_t left = SIZE_MAX; // allocations that will still succeed
    static inline bool failsOnce = false; // behind the first that fails there is memory again
    static inline std::size_t shortages = 0; // allocations that have failed

    /// Takes one of those left.
    static bool grant();
};
