#include "VLR_PooledMemory.h"

#include "LargePages.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t kGrain = 16;
constexpr std::size_t kLargestSmall = 1024;
constexpr std::size_t kSmallestSlab = std::size_t { 1 } << 17; // clearing a large page is half the work of a small run
constexpr std::size_t kLargestSlab = std::size_t { 1 } << 21;

/// A piece that waits for its next use. Its bytes are zero but for this and its framing.
struct FreePiece {
    FreePiece* next;
};

FreePiece* gFreePieces[kLargestSmall / kGrain + 1] = {}; // by size in grains
unsigned char* gSlabNext = nullptr;
unsigned char* gSlabEnd = nullptr;
std::size_t gSlabs = 0; // bytes of all of them

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
        const std::size_t slabSize = std::clamp(gSlabs / 2, kSmallestSlab, kLargestSlab);
        auto* const slab = static_cast<unsigned char*>(LargePages::obtain(slabSize));
        if (slab == nullptr)
            return nullptr;
        gSlabNext = slab;
        gSlabEnd = slab + slabSize;
        gSlabs += slabSize;
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

void* Obtain(std::size_t size)
{
    if (size <= kLargestSmall)
        return ObtainSmall(size);
    return size < LargePages::kWorthwhile ? std::calloc(1, size) : LargePages::obtain(size);
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
        LargePages::giveBack(memory, size);
    }
}

} // namespace

VLR_RawMemory VLR_PooledMemory()
{
    return { Obtain, GiveBack };
}
