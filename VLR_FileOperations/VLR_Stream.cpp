#include "VLR_Stream.h"

#include "VLR_Exception.h"
#include "VLR_System.h"

#include <bit>
#include <cstring>
#include <limits>
#include <utility>

namespace {

constexpr uint32_t kEmptyChunkCount = 0xFFFFFFFF;

/// Tests offset + n <= length. Told without the sum, which passes 32 bits for the counts of a damaged file.
bool Fits(uint32_t offset, uint32_t n, uint32_t length)
{
    return n <= length && offset <= length - n;
}

/// Big-endian to host order and back.
uint8_t Swapped(uint8_t value)
{
    return value;
}
uint16_t Swapped(uint16_t value)
{
    return std::endian::native == std::endian::big ? value : __builtin_bswap16(value);
}
uint32_t Swapped(uint32_t value)
{
    return std::endian::native == std::endian::big ? value : __builtin_bswap32(value);
}

} // namespace

const unsigned char* VLR_Stream::VirtualBytesAt(uint32_t, uint32_t) const
{
    return nullptr;
}

bool VLR_Stream::VirtualLends() const
{
    return false;
}

void VLR_Stream::VirtualExpectBytes(uint32_t) { }

void VLR_Stream::ExpectBytes(uint64_t n)
{
    if (n > std::numeric_limits<uint32_t>::max() - Length())
        VLR_RAISE(VLR_System::kCantAllocate);
    VirtualExpectBytes(static_cast<uint32_t>(n));
}

bool VLR_Stream::EnoughDataFor(uint32_t n) const
{
    return Fits(offset, n, VirtualLength());
}

void VLR_Stream::GetBytes(void* destination, uint32_t n)
{
    if (!EnoughDataFor(n))
        VLR_RAISE(kGetBytesOutOfRange);
    if (!VirtualGetBytes(destination, offset, n))
        VLR_RAISE(kCantGetBytes);
    offset += n;
}

bool VLR_Stream::PeekBytes(void* destination, uint32_t n) const
{
    return VirtualGetBytes(destination, offset, n);
}

bool VLR_Stream::PeekUInt32(uint32_t& value) const
{
    uint32_t wire = 0;
    if (const unsigned char* const bytes = VirtualBytesAt(offset, sizeof wire))
        std::memcpy(&wire, bytes, sizeof wire);
    else if (!PeekBytes(&wire, sizeof wire))
        return false;
    value = FromWire(wire);
    return true;
}

bool VLR_Stream::ScanUpToOrEnd(uint32_t marker)
{
    uint32_t value = 0;
    while (PeekUInt32(value)) {
        if (value == marker)
            return true;
        ++offset;
    }
    offset = VirtualLength();
    return false;
}

template <class Unsigned>
Unsigned VLR_Stream::FromWire(Unsigned wire) const
{
    return nativeByteOrder != 0 ? wire : Swapped(wire);
}

template <class Unsigned>
Unsigned VLR_Stream::Read()
{
    Unsigned wire = 0;
    if (const unsigned char* const bytes = VirtualBytesAt(offset, sizeof wire)) {
        std::memcpy(&wire, bytes, sizeof wire);
        offset += static_cast<uint32_t>(sizeof wire);
    } else {
        GetBytes(&wire, sizeof wire); // or the failure
    }
    return FromWire(wire);
}

template <class Unsigned>
void VLR_Stream::Write(Unsigned value)
{
    const Unsigned wire = FromWire(value);
    VirtualAppendBytes(&wire, sizeof wire);
}

uint8_t VLR_Stream::ReadUInt8()
{
    return Read<uint8_t>();
}
int8_t VLR_Stream::ReadSInt8()
{
    return static_cast<int8_t>(Read<uint8_t>());
}
uint16_t VLR_Stream::ReadUInt16()
{
    return Read<uint16_t>();
}
int16_t VLR_Stream::ReadSInt16()
{
    return static_cast<int16_t>(Read<uint16_t>());
}
uint32_t VLR_Stream::ReadUInt32()
{
    return Read<uint32_t>();
}
int32_t VLR_Stream::ReadSInt32()
{
    return static_cast<int32_t>(Read<uint32_t>());
}

VLR_Rect VLR_Stream::ReadRect()
{
    VLR_Rect rect;
    rect.top = ReadSInt16();
    rect.left = ReadSInt16();
    rect.bottom = ReadSInt16();
    rect.right = ReadSInt16();
    return rect;
}

VLR_Color VLR_Stream::ReadColor()
{
    VLR_Color color;
    color.red = ReadUInt16();
    color.green = ReadUInt16();
    color.blue = ReadUInt16();
    return color;
}

void VLR_Stream::ReadData(VLR_MemoryBlock& block)
{
    uint32_t n = ReadUInt32();
    if (n == kEmptyChunkCount)
        n = 0;
    if (!EnoughDataFor(n))
        VLR_RAISE(kReadDataOutOfRange);
    if (VirtualLends()) {
        block.Borrow(VirtualBytesAt(offset, n), n);
        offset += n;
        return;
    }
    block.Resize(n);
    GetBytes(block.Bytes(), n);
}

VLR_MemoryBlock VLR_Stream::ReadData()
{
    VLR_MemoryBlock block;
    ReadData(block);
    return block;
}

VLR_String VLR_Stream::ReadUTF8String()
{
    VLR_String text;
    ReadUTF8String(text);
    return text;
}

void VLR_Stream::ReadUTF8String(VLR_String& text)
{
    text.MemoryBlockChanged(); // a read in place does not come by the hook
    ReadData(text);
}

VLR_String VLR_Stream::ReadCString()
{
    return VLR_String(ReadData(), VLR_CharacterSetASCII);
}

VLR_String VLR_Stream::ReadStr255()
{
    const uint8_t n = ReadUInt8();
    VLR_MemoryBlock bytes(nullptr, n);
    GetBytes(bytes.Bytes(), n);
    return VLR_String(bytes, VLR_CharacterSetMacRoman);
}

void VLR_Stream::WriteUInt8(uint8_t value)
{
    Write(value);
}
void VLR_Stream::WriteSInt8(int8_t value)
{
    Write(static_cast<uint8_t>(value));
}
void VLR_Stream::WriteUInt16(uint16_t value)
{
    Write(value);
}
void VLR_Stream::WriteSInt16(int16_t value)
{
    Write(static_cast<uint16_t>(value));
}
void VLR_Stream::WriteUInt32(uint32_t value)
{
    Write(value);
}
void VLR_Stream::WriteSInt32(int32_t value)
{
    Write(static_cast<uint32_t>(value));
}

void VLR_Stream::WriteRect(const VLR_Rect& rect)
{
    WriteSInt16(rect.top);
    WriteSInt16(rect.left);
    WriteSInt16(rect.bottom);
    WriteSInt16(rect.right);
}

void VLR_Stream::WriteColor(const VLR_Color& color)
{
    WriteUInt16(color.red);
    WriteUInt16(color.green);
    WriteUInt16(color.blue);
}

void VLR_Stream::WriteData(const VLR_MemoryBlock& block)
{
    WriteUInt32(block.Length());
    PutBytes(block.Bytes(), block.Length());
}

void VLR_Stream::WriteUTF8String(const VLR_String& text)
{
    WriteData(text);
}

void VLR_Stream::WriteStr255(const unsigned char* countedBytes)
{
    PutBytes(countedBytes, 1u + countedBytes[0]);
}

void VLR_Stream::WriteText(const VLR_String& text)
{
    PutBytes(text.Bytes(), text.Length());
}

uint32_t VLR_MemoryStream::VirtualLength() const
{
    return block->Length();
}

bool VLR_MemoryStream::VirtualGetBytes(void* destination, uint32_t offset, uint32_t n) const
{
    if (!Fits(offset, n, block->Length()))
        return false;
    if (n > 0)
        VLR_System::MemCopy(destination, std::as_const(*block).Bytes() + offset, n);
    return true;
}

const unsigned char* VLR_MemoryStream::VirtualBytesAt(uint32_t offset, uint32_t n) const
{
    return Fits(offset, n, block->Length()) ? std::as_const(*block).Bytes() + offset : nullptr;
}

bool VLR_MemoryStream::VirtualLends() const
{
    return block->IsBorrowed();
}

void VLR_MemoryStream::VirtualAppendBytes(const void* source, uint32_t n)
{
    block->Append(source, n);
}

void VLR_MemoryStream::VirtualExpectBytes(uint32_t n)
{
    if (n <= std::numeric_limits<uint32_t>::max() - block->Length())
        block->Reserve(block->Length() + n);
}

VLR_MemoryBlockStreamCheck::VLR_MemoryBlockStreamCheck(VLR_Stream& stream)
    : stream(&stream)
    , expected(stream.ReadUInt32())
{
    start = stream.Offset();
}

void VLR_MemoryBlockStreamCheck::Check() const
{
    if (stream->Offset() - start != expected)
        VLR_RAISE(kCorruptedDataBlock);
}
