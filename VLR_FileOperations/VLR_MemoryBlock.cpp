#include "VLR_MemoryBlock.h"

#include "VLR_Exception.h"
#include "VLR_Guards.h"
#include "VLR_System.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

namespace {

constexpr uint32_t kFirstGrowStep = 16;
constexpr uint32_t kLastGrowStep = 256;
constexpr uint32_t kLargestStorage = std::numeric_limits<uint32_t>::max() - kGuardFraming;

uint32_t NextGrowStep(uint32_t growStep)
{
    if (growStep == 0)
        return kFirstGrowStep;
    return growStep < kLastGrowStep ? growStep * 4 : growStep;
}

/// The sum of two lengths. One that passes 32 bits becomes the largest, which no allocation can grant.
uint32_t AddLengths(uint32_t a, uint32_t b)
{
    constexpr uint32_t kLargest = std::numeric_limits<uint32_t>::max();
    return b > kLargest - a ? kLargest : a + b;
}

} // namespace

VLR_MemoryBlock::VLR_MemoryBlock(const unsigned char* source, uint32_t n)
{
    if (n == 0)
        return;
    AllocateForLength(n);
    if (source != nullptr)
        VLR_System::MemCopy(bytes, source, n);
}

VLR_MemoryBlock::VLR_MemoryBlock(uint32_t n)
{
    AllocateForLength(n);
}

VLR_MemoryBlock::VLR_MemoryBlock(const VLR_MemoryBlock& other)
    : VLR_Object(other)
{
    VLR_MemoryBlock::CopyFrom(other);
}

VLR_MemoryBlock::~VLR_MemoryBlock()
{
    if (bytes == nullptr || IsBorrowed())
        return;
    // A damaged guard can't be raised from here; the content is wiped all the same, and the storage stays behind.
    try {
        VLR_MemoryBlock::FreeStorage();
    } catch (...) {
        bytes = nullptr;
    }
}

// No test for self: the old content goes first, so a block assigned to itself ends up empty.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
VLR_MemoryBlock& VLR_MemoryBlock::operator=(const VLR_MemoryBlock& other)
{
    CopyFrom(other);
    return *this;
}

int32_t VLR_MemoryBlock::Compare(const VLR_Object* other) const
{
    const auto& block = *static_cast<const VLR_MemoryBlock*>(other);
    if (length != block.length)
        return static_cast<int32_t>(length - block.length); // modulo 2^32, read as signed
    return length == 0 ? 0 : VLR_System::MemCompare(bytes, block.bytes, length);
}

void VLR_MemoryBlock::CopyFrom(const VLR_MemoryBlock& other)
{
    FreeStorage();
    const uint32_t newCapacity = std::max(other.capacity, other.length); // the length of a borrowed content is above
    bytes = VLR_System::Allocate(newCapacity);
    length = other.length;
    capacity = newCapacity;
    VLR_System::MemCopy(bytes, other.bytes, length); // the tail behind it is zero on both sides
}

/// Comes before each change of a borrowed content.
void VLR_MemoryBlock::CopyBorrowed()
{
    unsigned char* const copy = VLR_System::Allocate(length);
    VLR_System::MemCopy(copy, bytes, length);
    bytes = copy;
    capacity = length;
}

void VLR_MemoryBlock::Exchange(VLR_MemoryBlock& other)
{
    MemoryBlockChanged();
    other.MemoryBlockChanged();
    std::swap(bytes, other.bytes);
    std::swap(length, other.length);
    std::swap(capacity, other.capacity);
    std::swap(growStep, other.growStep);
}

unsigned char* VLR_MemoryBlock::AllocateForLength(uint32_t n)
{
    const uint32_t step = NextGrowStep(growStep);
    const uint32_t newCapacity = AddLengths(n, step);
    bytes = VLR_System::Allocate(newCapacity);
    growStep = step;
    length = n;
    capacity = newCapacity;
    return bytes;
}

void VLR_MemoryBlock::Resize(uint32_t n)
{
    if (n == 0) {
        FreeStorage();
        return;
    }
    CheckGuards(Bytes(), /*freeing=*/false);
    if (n > capacity) {
        unsigned char* const oldBytes = bytes;
        const uint32_t oldLength = length;
        AllocateForLength(n);
        VLR_System::MemCopy(bytes, oldBytes, oldLength);
        ClearAndFree(oldBytes, oldLength);
        return;
    }
    if (n < length)
        VLR_System::MemWipe(bytes + n, length - n);
    length = n;
}

void VLR_MemoryBlock::Reserve(uint32_t finalLength)
{
    CheckGuards(Bytes(), /*freeing=*/false);
    if (finalLength <= capacity)
        return;
    unsigned char* const oldBytes = bytes;
    bytes = VLR_System::Allocate(finalLength);
    capacity = finalLength;
    growStep = 0;
    VLR_System::MemCopy(bytes, oldBytes, length);
    ClearAndFree(oldBytes, length);
}

void VLR_MemoryBlock::ReserveForAppend(uint32_t n)
{
    const uint32_t needed = AddLengths(length, n);
    if (needed > capacity)
        Reserve(std::max(needed, std::min(AddLengths(needed, length / 2), kLargestStorage)));
}

void VLR_MemoryBlock::AppendPiece(const VLR_MemoryBlock& piece)
{
    ReserveForAppend(piece.length);
    Append(piece);
}

void VLR_MemoryBlock::GiveUpContent()
{
    if (!IsBorrowed()) {
        VLR_System::MemWipe(bytes, length);
        VLR_System::Free(bytes);
    }
    bytes = nullptr;
    length = 0;
    capacity = 0;
    growStep = 0;
}

unsigned char VLR_MemoryBlock::ByteAtIndex(uint32_t index) const
{
    if (index >= length)
        VLR_RAISE(kOutOfRange);
    return bytes[index];
}

void VLR_MemoryBlock::SetByteAtIndex(unsigned char value, uint32_t index)
{
    if (index >= length)
        VLR_RAISE(kOutOfRange);
    Bytes()[index] = value;
}

void VLR_MemoryBlock::AppendByte(unsigned char value)
{
    Append(&value, 1);
}

void VLR_MemoryBlock::Append(const void* source, uint32_t n)
{
    const uint32_t oldLength = length;
    Resize(AddLengths(oldLength, n));
    if (n > 0)
        VLR_System::MemCopy(bytes + oldLength, source, n);
}

void VLR_MemoryBlock::Append(const VLR_MemoryBlock& other)
{
    Append(other.bytes, other.length);
}

/// Eight bytes at a time: sums whose carries are folded back are the same for words of any width, and in the other byte
/// order they are the same with their bytes exchanged.
uint16_t VLR_MemoryBlock::ComputeChecksum() const
{
    constexpr uint64_t kLowHalf = 0xFFFFFFFF;
    const uint32_t summed = length & ~uint32_t { 1 };
    uint64_t sum = 0; // of halves, so that it is wide enough for a block of any length
    uint32_t i = 0;
    for (; summed - i >= 8; i += 8) {
        uint64_t words = 0;
        std::memcpy(&words, bytes + i, sizeof words);
        sum += (words & kLowHalf) + (words >> 32);
    }
    for (; i < summed; i += 2) {
        uint16_t word = 0;
        std::memcpy(&word, bytes + i, sizeof word);
        sum += word;
    }
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    const auto checksum = static_cast<uint16_t>(sum);
    return std::endian::native == std::endian::big ? checksum : __builtin_bswap16(checksum);
}

void VLR_MemoryBlock::ClearAndFree(unsigned char* bytes, uint32_t n)
{
    if (bytes == nullptr)
        return;
    VLR_System::MemWipe(bytes, n);
    VLR_System::Free(bytes);
}
