#pragma once

#include "VLR_Object.h"

#include <cstdint>

/// The growable byte buffer of the core: strings, array storage, file images and passwords all live in one.
///
/// A block with storage owns exactly one guarded allocation. It wipes every byte that it gives up, whether it is
/// destroyed, regrown or shrunk, and keeps the spare room behind `length` zero. Lengths are bytes. One thread at a
/// time.
///
/// A block may also borrow its content (Borrow). Then it has no storage, and makes its own copy at the first change: a
/// reader sees no difference.
class VLR_MemoryBlock : public VLR_Object {
public:
    /// No storage.
    VLR_MemoryBlock() = default;

    /// A copy of `n` bytes, or `n` zero bytes for a null source; no storage for n = 0.
    VLR_MemoryBlock(const unsigned char* source, uint32_t n);

    /// `n` zero bytes. Unlike the form with a source it has storage even for n = 0.
    explicit VLR_MemoryBlock(uint32_t n);

    VLR_MemoryBlock(const VLR_MemoryBlock& other);

    /// The hook MemoryBlockChanged of a derived class does not fire here any more.
    ~VLR_MemoryBlock() override;

    /// Copies through the virtual CopyFrom. No test for self: the old content goes first, so a block assigned to itself
    /// ends up empty.
    VLR_MemoryBlock& operator=(const VLR_MemoryBlock& other);

    /// For changes: a borrowed content is copied first. Raises then: "Can't allocate", with the block as it was.
    unsigned char* Bytes()
    {
        if (IsBorrowed())
            CopyBorrowed();
        return bytes;
    }
    const unsigned char* Bytes() const { return bytes; }
    uint32_t Length() const { return length; }
    uint32_t Capacity() const { return capacity; }
    bool IsEmpty() const { return length == 0; }

    bool IsBorrowed() const { return length > capacity; }

    /// Takes `n` bytes for the content without copying them; what the block held goes first. Their owner keeps them, as
    /// they are, for as long as this block shows them, and so do the blocks that a stream over this block fills
    /// (VLR_MemoryStream). Nothing of them is wiped here: that is their owner's duty.
    void Borrow(const unsigned char* source, uint32_t n)
    {
        FreeStorage();
        bytes = n > 0 ? const_cast<unsigned char*>(source) : nullptr; // never written to: see CopyBorrowed
        length = n;
    }

    /// Orders by length first, then by the first differing byte, taken as unsigned: the difference of either.
    int32_t Compare(const VLR_Object* other) const override;

    /// Called by FreeStorage and Exchange alone: Append, a Resize to a length other than 0 and writes through Bytes()
    /// go unnoticed.
    virtual void MemoryBlockChanged() { }

    /// Takes over content and capacity of `other`, a borrowed content as a copy; the next growth starts again with the
    /// smallest step. A copy of a block without storage has storage, of capacity 0.
    virtual void CopyFrom(const VLR_MemoryBlock& other);

    /// Swaps content and storage of two blocks; never fails for want of memory.
    void Exchange(VLR_MemoryBlock& other);

    /// Gives the block new zeroed storage for `n` bytes plus the next step of spare room (16, 64, then always 256), and
    /// returns it. The old storage is abandoned, neither wiped nor freed: the caller keeps and frees it.
    /// Raises: "Can't allocate", with the block as it was.
    unsigned char* AllocateForLength(uint32_t n);

    /// Makes the block `n` bytes long; new bytes read as zero, bytes given up are wiped. n = 0 frees the storage; any
    /// other n keeps the capacity when it suffices.
    /// Raises: a damaged guard or "Can't allocate", with the block as it was.
    /// Cost: linear in the bytes moved or given up, never in the capacity.
    void Resize(uint32_t n);

    /// Tells the block its final size: provides exactly that capacity, so that appends up to it copy nothing. Length
    /// and content stay. Who does not use it keeps the fixed growth steps.
    void Reserve(uint32_t finalLength);

    /// Makes room for `n` further bytes and, if that takes new storage, for half of the length besides, so that a text
    /// of many pieces costs linear time.
    void ReserveForAppend(uint32_t n);

    /// Appends a piece of a longer text, with ReserveForAppend.
    void AppendPiece(const VLR_MemoryBlock& piece);

    /// Wipes and frees the storage, after MemoryBlockChanged.
    void FreeStorage()
    {
        // At the end of a block nobody is left whom the hook could tell, as it says.
        MemoryBlockChanged(); // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
        if (bytes != nullptr)
            GiveUpContent();
    }

    /// Raises: kOutOfRange for an index at or past the length, as does SetByteAtIndex.
    unsigned char ByteAtIndex(uint32_t index) const;
    void SetByteAtIndex(unsigned char value, uint32_t index);

    /// The source of an append may not lie in this block.
    /// Raises: "Can't allocate" if the sum of the lengths passes 32 bits, with the block as it was.
    void AppendByte(unsigned char value);
    void Append(const void* source, uint32_t n);
    void Append(const VLR_MemoryBlock& other);

    /// Sum of the big-endian 16-bit words, its carries folded back in; a last odd byte does not count.
    uint16_t ComputeChecksum() const;

    /// Wipes `n` bytes of a bare buffer that came from VLR_System::Allocate, and frees it; null does nothing.
    static void ClearAndFree(unsigned char* bytes, uint32_t n);

    static constexpr char kOutOfRange[] = "out of range";

private:
    void CopyBorrowed();
    void GiveUpContent();

    uint32_t length = 0; // bytes in use; first, because it fills the gap behind the reference count
    unsigned char* bytes = nullptr; // payload of the allocation, or what is borrowed; null only if all the others are 0
    uint32_t capacity = 0; // payload bytes allocated; below the length if the content is borrowed
    uint32_t growStep = 0; // spare room given to the last allocation: 0, 16, 64 or 256
};
