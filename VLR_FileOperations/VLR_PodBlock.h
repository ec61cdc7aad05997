#pragma once

#include "VLR_MemoryBlock.h"
#include "VLR_Range.h"

class VLR_String;

/// A memory block seen as an array of plain values: UTF-16 code units, or ranges.
template <class T>
class VLR_PodBlock : public VLR_MemoryBlock {
public:
    using VLR_MemoryBlock::VLR_MemoryBlock;
    VLR_PodBlock() = default;

    uint32_t Count() const { return Length() / static_cast<uint32_t>(sizeof(T)); }
    const T* Values() const { return reinterpret_cast<const T*>(Bytes()); }
    T* Values() { return reinterpret_cast<T*>(Bytes()); }
};

/// The UTF-16 code units of a text, in host byte order, without a terminator.
template <>
class VLR_PodBlock<unsigned short> : public VLR_MemoryBlock {
public:
    VLR_PodBlock() = default;
    explicit VLR_PodBlock(const VLR_String& text);

    uint32_t Count() const { return Length() / static_cast<uint32_t>(sizeof(unsigned short)); }
    const unsigned short* Values() const { return reinterpret_cast<const unsigned short*>(Bytes()); }
    unsigned short* Values() { return reinterpret_cast<unsigned short*>(Bytes()); }
};
