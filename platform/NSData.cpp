#include "NSData.h"

#include <algorithm>
#include <utility>

NSData NSData::dataWithBytes(const void* bytes, std::size_t length)
{
    const auto copy = std::make_shared_for_overwrite<uint8_t[]>(length);
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
