#pragma once

#include <cstddef>

/// Where guarded allocations come from. A program may put its own source in place to watch or to limit them.
struct VLR_RawMemory {
    void* (*obtainZeroed)(std::size_t size); // null when there is no memory
    void (*giveBack)(void* memory);
};

/// Puts another source in place and returns the one before. What was obtained from one must go back to the same.
VLR_RawMemory VLR_SetRawMemory(const VLR_RawMemory& source);
