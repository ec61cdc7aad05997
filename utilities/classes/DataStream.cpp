#include "DataStream.h"

#include "ExtraColorUtilities.h"
#include "NSException.h"
#include "StreamText.h"
#include "Truncation.h"
#include "UtilityExceptions.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace {

constexpr char kSourceName[] = "DataStream";
constexpr int kGetBytesLine = 62; // reports are compared by these lines: don't follow the source
constexpr int kReadDataLine = 125;
constexpr uint32_t kEmptyChunkCount = 0xFFFFFFFF;
constexpr double kFullIntensity = 65535.0;

uint8_t swapped(uint8_t value)
{
    return value;
}
uint16_t swapped(uint16_t value)
{
    return __builtin_bswap16(value);
}
uint32_t swapped(uint32_t value)
{
    return __builtin_bswap32(value);
}

int16_t cutToSInt16(double value)
{
    return static_cast<int16_t>(truncatedLow16(value));
}

} // namespace

DataStream::DataStream(std::shared_ptr<NSMutableData> data)
    : data_(std::move(data))
{
}

DataStream DataStream::dataStreamWithData(std::shared_ptr<NSMutableData> data)
{
    return DataStream(std::move(data));
}

DataStream DataStream::dataStreamWithEmptyData()
{
    return DataStream(std::make_shared<NSMutableData>());
}

NSStringEncoding DataStream::encodingForClassicStrings()
{
    static const NSStringEncoding appEncoding = StreamText::classicEncoding(GetApplicationTextEncoding());
    return appEncoding;
}

bool DataStream::enoughDataFor(std::size_t byteCount) const
{
    const std::size_t length = data_->length(); // without the sum of cursor and count, which may wrap
    return byteCount <= length && offset_ <= length - byteCount;
}

void DataStream::getBytes(void* destination, std::size_t length)
{
    if (!enoughDataFor(length))
        raiseInconsistency(kGetBytesOutOfRange, "getBytes:length:", kSourceName, kGetBytesLine);
    data_->getBytes(destination, { offset_, length });
    offset_ += length;
}

bool DataStream::peekBytes(void* destination, std::size_t length) const
{
    try {
        data_->getBytes(destination, { offset_, length });
        return true;
    } catch (const NSException&) {
        return false;
    }
}

bool DataStream::peekUInt32(uint32_t& value) const
{
    uint32_t wire = 0;
    if (!peekBytes(&wire, sizeof wire))
        return false;
    value = fromWire(wire);
    return true;
}

template <class Unsigned>
Unsigned DataStream::fromWire(Unsigned wire) const
{
    constexpr bool kHostIsBigEndian = std::endian::native == std::endian::big;
    return streamIsBigEndian_ == kHostIsBigEndian ? wire : swapped(wire);
}

template <class Unsigned>
Unsigned DataStream::read()
{
    Unsigned wire = 0;
    getBytes(&wire, sizeof wire);
    return fromWire(wire);
}

template <class Unsigned>
void DataStream::write(Unsigned value)
{
    const Unsigned wire = fromWire(value);
    putBytes(&wire, sizeof wire);
}

uint8_t DataStream::readUInt8()
{
    return read<uint8_t>();
}
int8_t DataStream::readSInt8()
{
    return static_cast<int8_t>(read<uint8_t>());
}
uint16_t DataStream::readUInt16()
{
    return read<uint16_t>();
}
int16_t DataStream::readSInt16()
{
    return static_cast<int16_t>(read<uint16_t>());
}
uint32_t DataStream::readUInt32()
{
    return read<uint32_t>();
}
int32_t DataStream::readSInt32()
{
    return static_cast<int32_t>(read<uint32_t>());
}

NSMutableData DataStream::readData()
{
    uint32_t count = readUInt32();
    if (count == kEmptyChunkCount)
        count = 0;
    if (!enoughDataFor(count))
        raiseInconsistency(kReadDataOutOfRange, "readData", kSourceName, kReadDataLine);
    NSMutableData chunk;
    chunk.setLength(count);
    getBytes(chunk.mutableBytes(), count);
    return chunk;
}

VLR_String DataStream::readStr255()
{
    const uint8_t count = readUInt8();
    NSMutableData text;
    text.setLength(count);
    getBytes(text.mutableBytes(), count);
    return StreamText::fromClassic(text.bytes(), count, encodingForClassicStrings());
}

VLR_String DataStream::readCString()
{
    const NSMutableData chunk = readData();
    return StreamText::fromClassic(chunk.bytes(), chunk.length(), encodingForClassicStrings());
}

VLR_String DataStream::readNSString()
{
    const NSMutableData chunk = readData();
    const uint8_t* const end = std::find(chunk.bytes(), chunk.bytes() + chunk.length(), uint8_t { 0 });
    return StreamText::precomposed(chunk.bytes(), static_cast<std::size_t>(end - chunk.bytes()));
}

CGRect DataStream::readNSRect()
{
    return readCarbonRectAsNSRect();
}

CGRect DataStream::readCarbonRectAsNSRect()
{
    const double top = readSInt16();
    const double left = readSInt16();
    const double bottom = readSInt16();
    const double right = readSInt16();
    return { left, top, right - left, bottom - top };
}

NSColor DataStream::readCarbonColorAsNSColor()
{
    const double red = readUInt16() / kFullIntensity;
    const double green = readUInt16() / kFullIntensity;
    const double blue = readUInt16() / kFullIntensity;
    return NSColor::colorWithDeviceRGB({ red, green, blue, 1.0 });
}

void DataStream::putBytes(const void* source, std::size_t length)
{
    data_->appendBytes(source, length);
}

void DataStream::writeUInt8(uint8_t value)
{
    write(value);
}
void DataStream::writeSInt8(int8_t value)
{
    write(static_cast<uint8_t>(value));
}
void DataStream::writeUInt16(uint16_t value)
{
    write(value);
}
void DataStream::writeSInt16(int16_t value)
{
    write(static_cast<uint16_t>(value));
}
void DataStream::writeUInt32(uint32_t value)
{
    write(value);
}
void DataStream::writeSInt32(int32_t value)
{
    write(static_cast<uint32_t>(value));
}

void DataStream::writeData(const std::optional<NSData>& data)
{
    if (data)
        writeChunk(data->bytes(), data->length());
    else
        writeUInt32(0);
}

void DataStream::writeData(const NSMutableData& data)
{
    writeChunk(data.bytes(), data.length());
}

void DataStream::writeStr255(const unsigned char* pascalString)
{
    putBytes(pascalString, std::size_t { 1 } + pascalString[0]);
}

void DataStream::writeNSString(const VLR_String& text)
{
    writeChunk(text.Bytes(), text.Length());
}

void DataStream::writeChunk(const void* bytes, std::size_t length)
{
    if (length >= kEmptyChunkCount)
        raiseInconsistency(kReadDataOutOfRange, "writeData:", kSourceName, kReadDataLine);
    // In one piece, as the bytes may be the stream's own, which each growth moves.
    NSMutableData chunk;
    const uint32_t count = fromWire(static_cast<uint32_t>(length));
    chunk.appendBytes(&count, sizeof count);
    chunk.appendBytes(bytes, length);
    putBytes(chunk.bytes(), chunk.length());
}

void DataStream::writeNSRect(const CGRect& rect)
{
    Rect edges;
    edges.top = cutToSInt16(rect.y);
    edges.left = cutToSInt16(rect.x);
    edges.bottom = cutToSInt16(edges.top + rect.height);
    edges.right = cutToSInt16(edges.left + rect.width);
    writeCarbonRect(edges);
}

void DataStream::writeCarbonRect(const Rect& rect)
{
    writeSInt16(rect.top);
    writeSInt16(rect.left);
    writeSInt16(rect.bottom);
    writeSInt16(rect.right);
}

void DataStream::writeNSColorAsCarbonColor(const NSColor& color)
{
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 0;
    ExtraColorUtilities::getWhiteOrRed(color, &red, &green, &blue, &alpha);
    writeUInt16(truncatedLow16(red * kFullIntensity));
    writeUInt16(truncatedLow16(green * kFullIntensity));
    writeUInt16(truncatedLow16(blue * kFullIntensity));
}
