#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

/// Immutable bytes, shared by the copies of a value.
class NSData {
public:
    /// No bytes.
    NSData() = default;

    static NSData dataWithBytes(const void* bytes, std::size_t length);

    /// A copy that is wiped when the last value that shares it lets go.
    static NSData dataWithSecretBytes(const void* bytes, std::size_t length);

    /// Borrows: the bytes must live and stay as they are as long as any copy of the value does.
    static NSData dataWithBytesNoCopy(const void* bytes, std::size_t length);

    /// Takes over a buffer of at least `length` bytes.
    static NSData dataWithBuffer(std::shared_ptr<const uint8_t[]> buffer, std::size_t length);

    const uint8_t* bytes() const { return bytes_; }
    std::size_t length() const { return length_; }

    /// Equal bytes, wherever they lie.
    bool operator==(const NSData& other) const;

private:
    std::shared_ptr<const uint8_t[]> owned_;
    const uint8_t* bytes_ = nullptr;
    std::size_t length_ = 0;
};
