#include "VLR_PooledMemory.h"

#include "LargePages.h"
#include "VLR_Guards.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t kGrain = 16;
constexpr std::size_t kLargestSmall = 1024;
constexpr std::size_t kSlab = std::size_t { 1 } << 21;

/// A piece that waits for its next use. Its bytes are zero but for this and its framing.
struct FreePiece {
    FreePiece* next;
};

FreePiece* gFreePieces[kLargestSmall / kGrain + 1] = {}; // by size in grains
unsigned char* gSlabNext = nullptr;
unsigned char* gSlabEnd = nullptr;

std::size_t GrainsFor(std::size_t size)
{
    return (size + kGrain - 1) / kGrain;
}

/// What each allocation begins with: its size, framing included (VLR_Guards.h).
std::size_t SizeOf(const void* memory)
{
    uint32_t size = 0;
    std::memcpy(&size, memory, sizeof size);
    return size;
}

void* CutFromSlab(std::size_t size)
{
    if (static_cast<std::size_t>(gSlabEnd - gSlabNext) < size) {
        auto* const slab = static_cast<unsigned char*>(LargePages::obtain(kSlab));
        if (slab == nullptr)
            return nullptr;
        gSlabNext = slab;
        gSlabEnd = slab + kSlab;
    }
    void* const piece = gSlabNext;
    gSlabNext += size;
    return piece;
}

void* ObtainSmall(std::size_t size)
{
    FreePiece*& free = gFreePieces[GrainsFor(size)];
    const std::size_t pieceSize = GrainsFor(size) * kGrain;
    if (free == nullptr)
        return CutFromSlab(pieceSize);
    FreePiece* const piece = free;
    free = piece->next;
    return std::memset(piece, 0, pieceSize);
}

/// The large piece that came back last. A run writes two files of about the same length, one after the other, and fresh
/// pages cost more than filling them.
struct KeptPiece {
    void* memory = nullptr;
    std::size_t size = 0;
};

KeptPiece gKept;

void GiveBackKept()
{
    if (gKept.memory != nullptr)
        LargePages::giveBack(gKept.memory, gKept.size);
    gKept = {};
}

/// Its payload is zero: who gives up a piece of this size is a block, which wipes it. So only the framing is cleared.
void* ReuseKept()
{
    auto* const memory = static_cast<unsigned char*>(gKept.memory);
    std::memset(memory, 0, kGuardPayloadOffset);
    std::memset(memory + gKept.size - (kGuardFraming - kGuardPayloadOffset), 0, kGuardFraming - kGuardPayloadOffset);
    gKept = {};
    return memory;
}

void* ObtainLarge(std::size_t size)
{
    if (gKept.memory != nullptr && LargePages::lengthFor(gKept.size) == LargePages::lengthFor(size))
        return ReuseKept();
    GiveBackKept();
    return LargePages::obtain(size);
}

void* Obtain(std::size_t size)
{
    if (size <= kLargestSmall)
        return ObtainSmall(size);
    return size < LargePages::kWorthwhile ? std::calloc(1, size) : ObtainLarge(size);
}

void GiveBack(void* memory)
{
    const std::size_t size = SizeOf(memory);
    if (size <= kLargestSmall) {
        FreePiece*& free = gFreePieces[GrainsFor(size)];
        free = new (memory) FreePiece { free };
    } else if (size < LargePages::kWorthwhile) {
        std::free(memory);
    } else {
        GiveBackKept();
        gKept = { memory, size };
    }
}

} // namespace

VLR_RawMemory VLR_PooledMemory()
{
    return { Obtain, GiveBack };
}
