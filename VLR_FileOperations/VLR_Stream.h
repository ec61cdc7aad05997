#pragma once

#include "VLR_MemoryBlock.h"
#include "VLR_String.h"

/// Edges in screen units; the wire keeps this order.
struct VLR_Rect {
    int16_t top = 0;
    int16_t left = 0;
    int16_t bottom = 0;
    int16_t right = 0;

    bool operator==(const VLR_Rect&) const = default;
};

/// Intensities, 65535 in full.
struct VLR_Color {
    uint16_t red = 0;
    uint16_t green = 0;
    uint16_t blue = 0;

    bool operator==(const VLR_Color&) const = default;
};

/// A read cursor and an append-only sink over some store of bytes, and the primitive encodings of all file formats.
///
/// Multi-byte integers are big-endian on the wire. Writing appends to the end of the store and never looks at the
/// cursor, so a stream may be read and written at once. A failed read leaves the cursor where it was unless an
/// operation says otherwise. A stream neither owns its store nor is it reference counted.
class VLR_Stream {
public:
    VLR_Stream() = default;
    VLR_Stream(const VLR_Stream&) = delete;
    VLR_Stream& operator=(const VLR_Stream&) = delete;

    /// Length of the store in bytes.
    virtual uint32_t VirtualLength() const = 0;

    /// Copies `n` bytes from `offset` of the store; false, and nothing copied, if the store does not hold them all.
    virtual bool VirtualGetBytes(void* destination, uint32_t offset, uint32_t n) const = 0;
    virtual void VirtualAppendBytes(const void* source, uint32_t n) = 0;

    /// `n` bytes of the store at `offset`, for a store that has them in memory; they stay there until the store
    /// changes. Null if it has not, or does not hold them all.
    virtual const unsigned char* VirtualBytesAt(uint32_t offset, uint32_t n) const;

    /// True if blocks may borrow what VirtualBytesAt answers (VLR_MemoryBlock::Borrow).
    virtual bool VirtualLends() const;

    /// Announces that the store will grow by `n` bytes in all, so that it can make room once. Nothing needs to follow.
    virtual void VirtualExpectBytes(uint32_t n);

    /// Announces `n` further bytes.
    /// Raises: VLR_System::kCantAllocate, with nothing written, if no store could hold them.
    void ExpectBytes(uint64_t n);

    // Cursor

    uint32_t Length() const { return VirtualLength(); }
    uint32_t Offset() const { return offset; }
    void RewindRead() { offset = 0; }
    bool AtEnd() const { return offset >= VirtualLength(); }

    /// True if `n` more bytes follow the cursor.
    bool EnoughDataFor(uint32_t n) const;

    /// Reads `n` bytes and moves the cursor. Raises: kGetBytesOutOfRange, kCantGetBytes.
    void GetBytes(void* destination, uint32_t n);

    /// Reads without moving the cursor; false if not enough bytes follow, with `value` unchanged.
    [[nodiscard]] bool PeekBytes(void* destination, uint32_t n) const;
    [[nodiscard]] bool PeekUInt32(uint32_t& value) const;

    /// Moves the cursor byte by byte to the first byte of `marker`, where it may stand already. Without one it goes to
    /// the end and answers false.
    bool ScanUpToOrEnd(uint32_t marker);

    // Reading. Each raises kGetBytesOutOfRange when the bytes run out.

    uint8_t ReadUInt8();
    int8_t ReadSInt8();
    uint16_t ReadUInt16();
    int16_t ReadSInt16();
    uint32_t ReadUInt32();
    int32_t ReadSInt32();
    VLR_Rect ReadRect();
    VLR_Color ReadColor();

    /// Reads one data chunk (UInt32 count, then that many bytes) into `block`, replacing what it held.
    ///
    /// A count of 0xFFFFFFFF stands for an empty chunk. A count that runs past the end leaves `block` unchanged and the
    /// cursor behind the count, from where a caller can look for the next section.
    /// Raises: kReadDataOutOfRange for such a count, kGetBytesOutOfRange if the count itself is cut short.
    /// Cost: linear in the count; allocates only if `block` lacks the capacity. From a store that lends `block` borrows
    /// its content, at no cost.
    void ReadData(VLR_MemoryBlock& block);
    VLR_MemoryBlock ReadData();

    /// A data chunk taken over as it is, without a look at its bytes.
    VLR_String ReadUTF8String();
    void ReadUTF8String(VLR_String& text);

    /// A data chunk of ASCII text; there is no terminator on the wire.
    VLR_String ReadCString();

    /// One count byte and as many bytes of Mac Roman text. If they are cut short the count stays consumed.
    VLR_String ReadStr255();

    /// The integer of the wire that begins at `bytes`.
    static uint32_t UInt32At(const unsigned char* bytes)
    {
        return uint32_t { bytes[0] } << 24 | uint32_t { bytes[1] } << 16 | uint32_t { bytes[2] } << 8 | bytes[3];
    }

    // Writing

    void PutBytes(const void* source, uint32_t n) { VirtualAppendBytes(source, n); }
    void WriteUInt8(uint8_t value);
    void WriteSInt8(int8_t value);
    void WriteUInt16(uint16_t value);
    void WriteSInt16(int16_t value);
    void WriteUInt32(uint32_t value);
    void WriteSInt32(int32_t value);
    void WriteRect(const VLR_Rect& rect);
    void WriteColor(const VLR_Color& color);
    void WriteData(const VLR_MemoryBlock& block);
    void WriteUTF8String(const VLR_String& text);

    /// Writes the count byte and the bytes behind it as they stand, without any conversion.
    void WriteStr255(const unsigned char* countedBytes);

    /// The bytes alone, without a count.
    void WriteText(const VLR_String& text);

    static constexpr char kGetBytesOutOfRange[] = "GetBytes out of range.";
    static constexpr char kCantGetBytes[] = "Can't get bytes.";
    static constexpr char kReadDataOutOfRange[] = "ReadData out of range.";

protected:
    ~VLR_Stream() = default; // streams are values; nobody owns one by its base

private:
    template <class Unsigned>
    Unsigned FromWire(Unsigned wire) const;
    template <class Unsigned>
    Unsigned Read();
    template <class Unsigned>
    void Write(Unsigned value);

    uint32_t offset = 0;
    uint32_t nativeByteOrder = 0; // 0: big-endian on the wire; nothing sets anything else
};

/// A stream over a memory block, which must outlive it. While the block's content is borrowed, the stream lends: what
/// is read of it borrows from the same owner.
class VLR_MemoryStream final : public VLR_Stream {
public:
    explicit VLR_MemoryStream(VLR_MemoryBlock& block)
        : block(&block)
    {
    }

    /// Changes the store; the cursor stays.
    void SetBlock(VLR_MemoryBlock& newBlock) { block = &newBlock; }

    uint32_t VirtualLength() const override;
    bool VirtualGetBytes(void* destination, uint32_t offset, uint32_t n) const override;
    const unsigned char* VirtualBytesAt(uint32_t offset, uint32_t n) const override;
    bool VirtualLends() const override;
    void VirtualAppendBytes(const void* source, uint32_t n) override;
    void VirtualExpectBytes(uint32_t n) override;

private:
    VLR_MemoryBlock* block;
};

/// Brackets a section with a length in front: reads the length when it is made, and tests it when the section is read.
class VLR_MemoryBlockStreamCheck {
public:
    explicit VLR_MemoryBlockStreamCheck(VLR_Stream& stream);

    /// Raises: kCorruptedDataBlock unless exactly the announced bytes have been read since.
    void Check() const;

    static constexpr char kCorruptedDataBlock[] = "corrupted data block";

private:
    VLR_Stream* stream;
    uint32_t start;
    uint32_t expected;
};
