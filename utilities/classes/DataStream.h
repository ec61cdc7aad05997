#pragma once

#include "CGRect.h"
#include "NSColor.h"
#include "NSData.h"
#include "NSMutableData.h"
#include "NSStringEncoding.h"
#include "Rect.h"
#include "VLR_String.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

/// A read cursor and an append-only sink over mutable data: the platform's twin of VLR_MemoryStream, with platform
/// types at its edges. What one of the two writes, the other reads.
///
/// Multi-byte integers are big-endian on the wire. Writing appends to the end of the data and never looks at the
/// cursor, so a stream may be read and written at once. The data is shared with whoever else holds it. A failed read
/// leaves the cursor where it was unless an operation says otherwise. Failures are inconsistency exceptions; the texts
/// below are their messages.
class DataStream {
public:
    /// Takes a share in the data, which is there, with the cursor at its start.
    explicit DataStream(std::shared_ptr<NSMutableData> data);
    DataStream(const DataStream&) = delete;
    DataStream& operator=(const DataStream&) = delete;

    static DataStream dataStreamWithData(std::shared_ptr<NSMutableData> data);
    static DataStream dataStreamWithEmptyData();

    /// The encoding of classic text, which isn't that of the core's streams everywhere: Shift-JIS where the system's
    /// programs without Unicode are Japanese, otherwise Mac Roman. Asked once for the process.
    static NSStringEncoding encodingForClassicStrings();

    /// The store itself.
    const std::shared_ptr<NSMutableData>& mutableData() const { return data_; }

    // Cursor

    /// True if that many bytes follow the cursor.
    bool enoughDataFor(std::size_t byteCount) const;
    bool atEnd() const { return offset_ >= data_->length(); }

    /// Reads bytes and moves the cursor. Raises: kGetBytesOutOfRange.
    void getBytes(void* destination, std::size_t length);

    /// Reads without moving the cursor; false if not enough bytes follow, with nothing copied.
    [[nodiscard]] bool peekBytes(void* destination, std::size_t length) const;
    [[nodiscard]] bool peekUInt32(uint32_t& value) const;

    // Reading. Each raises kGetBytesOutOfRange when the bytes run out; those of a chunk also as readData.

    uint8_t readUInt8();
    int8_t readSInt8();
    uint16_t readUInt16();
    int16_t readSInt16();
    uint32_t readUInt32();
    int32_t readSInt32();

    /// A data chunk: a 32-bit count and as many bytes. A count of 0xFFFFFFFF stands for none.
    /// Raises: kReadDataOutOfRange for a count past the end, with the cursor behind the count.
    NSMutableData readData();

    /// One count byte and as many bytes of classic text. If they are cut short the count stays consumed.
    VLR_String readStr255();

    /// A data chunk of classic text; there is no terminator on the wire.
    VLR_String readCString();

    /// A data chunk of UTF-8 text up to its first zero byte, in precomposed form (NFC). So a text may come back
    /// different from how it was written. A sequence that is not valid UTF-8 becomes U+FFFD.
    VLR_String readNSString();

    /// Top, left, bottom and right; y is not flipped. Both are one operation. What was read of one that is cut short
    /// stays consumed, as of a colour.
    CGRect readNSRect();
    CGRect readCarbonRectAsNSRect();

    /// Red, green and blue, 16 bits each, as an opaque device colour.
    NSColor readCarbonColorAsNSColor();

    // Writing

    void putBytes(const void* source, std::size_t length);
    void writeUInt8(uint8_t value);
    void writeSInt8(int8_t value);
    void writeUInt16(uint16_t value);
    void writeSInt16(int16_t value);
    void writeUInt32(uint32_t value);
    void writeSInt32(int32_t value);

    /// A data chunk, which may hold a copy of the stream's own data; absent data is an empty one.
    /// Raises: kReadDataOutOfRange, with nothing written, for a length whose count couldn't be read back.
    void writeData(const std::optional<NSData>& data);
    void writeData(const NSMutableData& data);

    /// Writes the count byte and the bytes behind it as they stand, without any conversion.
    void writeStr255(const unsigned char* pascalString);

    /// The UTF-8 bytes as a data chunk, without any normalising. Raises: as writeData.
    void writeNSString(const VLR_String& text);

    /// Origin and size, each cut toward zero to a 16-bit integer, of which the low 16 bits count: far edges are the cut
    /// origin plus the size.
    void writeNSRect(const CGRect& rect);
    void writeCarbonRect(const Rect& rect);

    /// Components as ExtraColorUtilities::getWhiteOrRed gives them, cut toward zero; alpha isn't written.
    void writeNSColorAsCarbonColor(const NSColor& color);

    static constexpr char kGetBytesOutOfRange[] = "NSData getBytes out of range.";
    static constexpr char kReadDataOutOfRange[] = "NSData readData out of range.";

private:
    template <class Unsigned>
    Unsigned fromWire(Unsigned wire) const;
    template <class Unsigned>
    Unsigned read();
    template <class Unsigned>
    void write(Unsigned value);
    void writeChunk(const void* bytes, std::size_t length);

    std::shared_ptr<NSMutableData> data_;
    std::size_t offset_ = 0;
    const bool streamIsBigEndian_ = true;
};
