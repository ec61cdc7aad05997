#include "NSData.h"

#include <algorithm>
#include <cstring>
#include <utility>

NSData NSData::dataWithBytes(const void* bytes, std::size_t length)
{
    const auto copy = std::make_shared_for_overwrite<uint8_t[]>(length);
    std::copy_n(static_cast<const uint8_t*>(bytes), length, copy.get());
    return dataWithBuffer(copy, length);
}

NSData NSData::dataWithSecretBytes(const void* bytes, std::size_t length)
{
    const std::shared_ptr<uint8_t[]> copy(new uint8_t[length], [length](uint8_t* secret) {
        ::explicit_bzero(secret, length);
        delete[] secret;
    });
    std::copy_n(static_cast<const uint8_t*>(bytes), length, copy.get());
    return dataWithBuffer(copy, length);
}

NSData NSData::dataWithBytesNoCopy(const void* bytes, std::size_t length)
{
    NSData data;
    data.bytes_ = static_cast<const uint8_t*>(bytes);
    data.length_ = length;
    return data;
}

NSData NSData::dataWithRangesNoCopy(std::vector<ByteRange> ranges)
{
    NSData data;
    for (const ByteRange& range : ranges)
        data.length_ += range.length;
    data.ranges_ = std::make_shared<const std::vector<ByteRange>>(std::move(ranges));
    return data;
}

const uint8_t* NSData::bytes() const
{
    if (bytes_ != nullptr || ranges_ == nullptr)
        return bytes_;
    const auto joined = std::make_shared_for_overwrite<uint8_t[]>(length_);
    uint8_t* next = joined.get();
    for (const ByteRange& range : *ranges_)
        next = std::copy_n(range.bytes, range.length, next);
    bytes_ = joined.get();
    owned_ = joined;
    return bytes_;
}

std::vector<NSData::ByteRange> NSData::byteRanges() const
{
    return ranges_ != nullptr ? *ranges_ : std::vector<ByteRange> { { bytes_, length_ } };
}

NSData NSData::dataWithBuffer(std::shared_ptr<const uint8_t[]> buffer, std::size_t length)
{
    NSData data;
    data.bytes_ = buffer.get();
    data.length_ = length;
    data.owned_ = std::move(buffer);
    return data;
}

bool NSData::operator==(const NSData& other) const
{
    return std::equal(bytes(), bytes() + length_, other.bytes(), other.bytes() + other.length_);
}
