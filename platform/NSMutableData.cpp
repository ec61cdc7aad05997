#include "NSMutableData.h"

#include "NSException.h"

#include <algorithm>
#include <functional>

#include <string.h> // explicit_bzero

template <class T>
void NSMutableData::WipingAllocator<T>::deallocate(T* storage, std::size_t count)
{
    explicit_bzero(storage, count * sizeof(T));
    std::pmr::polymorphic_allocator<T>::deallocate(storage, count);
}

template class NSMutableData::WipingAllocator<uint8_t>; // other sources call it too, and an inlined one can't be linked

NSMutableData::NSMutableData(const void* bytes, std::size_t length)
{
    appendBytes(bytes, length);
}

void NSMutableData::setLength(std::size_t length)
{
    if (length < storage.size())
        explicit_bzero(storage.data() + length, storage.size() - length);
    storage.resize(length);
}

void NSMutableData::appendBytes(const void* bytes, std::size_t length)
{
    if (length == 0)
        return;
    const auto* const source = static_cast<const uint8_t*>(bytes);
    const std::size_t before = storage.size();
    const uint8_t* const own = storage.data();
    const bool isOwn = std::less_equal<>()(own, source) && std::less<>()(source, own + before);
    const std::size_t ownOffset = isOwn ? static_cast<std::size_t>(source - own) : 0;
    storage.resize(before + length); // may move the data's own bytes
    std::copy_n(isOwn ? storage.data() + ownOffset : source, length, storage.data() + before);
}

void NSMutableData::getBytes(void* destination, const NSRange& range) const
{
    if (range.location > storage.size() || range.length > storage.size() - range.location)
        NSException::raise("NSRangeException", "range past the end of the data");
    if (range.length > 0)
        std::copy_n(storage.data() + range.location, range.length, static_cast<uint8_t*>(destination));
}
