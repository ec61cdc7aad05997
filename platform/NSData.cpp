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
    return std::equal(bytes_, bytes_ + length_, other.bytes_, other.bytes_ + other.length_);
}
