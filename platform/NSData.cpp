#include "NSData.h"

#include <utility>

NSData NSData::dataWithBytes(const void* bytes, std::size_t length)
{
    const auto* const first = static_cast<const uint8_t*>(bytes);
    return dataWithBuffer(length > 0 ? std::vector<uint8_t>(first, first + length) : std::vector<uint8_t>());
}

NSData NSData::dataWithBytesNoCopy(const void* bytes, std::size_t length)
{
    NSData data;
    data.bytes_ = static_cast<const uint8_t*>(bytes);
    data.length_ = length;
    return data;
}

NSData NSData::dataWithBuffer(std::vector<uint8_t> buffer)
{
    NSData data;
    data.owned_ = std::make_shared<const std::vector<uint8_t>>(std::move(buffer));
    data.bytes_ = data.owned_->data();
    data.length_ = data.owned_->size();
    return data;
}
