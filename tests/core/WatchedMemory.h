#pragma once

#include "VLR_RawMemory.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

/// Watches what comes back to the allocator in use: payloads must be zero by then. Can also run out of memory.
class WatchedMemory {
public:
    WatchedMemory()
        : before(VLR_SetRawMemory({ obtain, giveBack }))
    {
        obtained = returned = dirty = 0;
        left = SIZE_MAX;
    }
    ~WatchedMemory() { VLR_SetRawMemory(before); }
    WatchedMemory(const WatchedMemory&) = delete;
    WatchedMemory& operator=(const WatchedMemory&) = delete;

    static inline std::size_t obtained = 0;
    static inline std::size_t returned = 0;
    static inline std::size_t dirty = 0; // payloads that came back with something in them
    static inline std::size_t left = SIZE_MAX; // allocations that will still succeed

private:
    static void* obtain(std::size_t size)
    {
        if (left == 0)
            return nullptr;
        --left;
        ++obtained;
        return std::calloc(1, size);
    }

    static void giveBack(void* memory)
    {
        ++returned;
        uint32_t total = 0;
        std::memcpy(&total, memory, sizeof total);
        const auto* const payload = static_cast<const unsigned char*>(memory) + 8;
        if (std::any_of(payload, payload + total - 12, [](unsigned char byte) { return byte != 0; }))
            ++dirty;
        std::free(memory);
    }

    VLR_RawMemory before;
};
