#pragma once

#include "NSRange.h"

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <vector>

/// Bytes that grow at their end. They may be secrets: whatever is given up, when the data is cut, grows out of its
/// storage or ends, is wiped first.
///
/// Storage comes from the default memory resource of the time when the data was made. Data that several hold is shared
/// by pointer; it isn't copied by accident.
class NSMutableData {
public:
    /// No bytes.
    NSMutableData() = default;

    /// A copy of the bytes.
    NSMutableData(const void* bytes, std::size_t length);

    NSMutableData(NSMutableData&&) = default;
    NSMutableData& operator=(NSMutableData&&) = delete;
    NSMutableData(const NSMutableData&) = delete;
    NSMutableData& operator=(const NSMutableData&) = delete;

    /// Valid until the length changes.
    const uint8_t* bytes() const { return storage.data(); }
    uint8_t* mutableBytes() { return storage.data(); }
    std::size_t length() const { return storage.size(); }

    /// Cuts at the end, or adds zero bytes there.
    void setLength(std::size_t length);

    /// The bytes may be the data's own.
    void appendBytes(const void* bytes, std::size_t length);

    /// Copies a range. Raises: "NSRangeException", with nothing copied, unless all of it is there.
    void getBytes(void* destination, const NSRange& range) const;

private:
    template <class T>
    class WipingAllocator : public std::pmr::polymorphic_allocator<T> {
    public:
        using std::pmr::polymorphic_allocator<T>::polymorphic_allocator;
        void deallocate(T* storage, std::size_t count);
    };

    std::vector<uint8_t, WipingAllocator<uint8_t>> storage;
};
