#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// Immutable bytes, shared by the copies of a value.
class NSData {
public:
    /// Bytes that somebody else keeps.
    struct ByteRange {
        const uint8_t* bytes;
        std::size_t length;
    };

    /// No bytes.
    NSData() = default;

    static NSData dataWithBytes(const void* bytes, std::size_t length);

    /// A copy that is wiped when the last value that shares it lets go.
    static NSData dataWithSecretBytes(const void* bytes, std::size_t length);

    /// Borrows: the bytes must live and stay as they are as long as any copy of the value does.
    static NSData dataWithBytesNoCopy(const void* bytes, std::size_t length);

    /// Takes over a buffer of at least `length` bytes.
    static NSData dataWithBuffer(std::shared_ptr<const uint8_t[]> buffer, std::size_t length);

    /// Borrows likewise bytes that lie in several places.
    static NSData dataWithRangesNoCopy(std::vector<ByteRange> ranges);

    /// In one piece. Of data in several ranges the first call makes a copy, which stays; who need not, takes
    /// `byteRanges`.
    const uint8_t* bytes() const;
    std::size_t length() const { return length_; }

    /// The bytes where they lie, in their order.
    std::vector<ByteRange> byteRanges() const;

    /// Equal bytes, wherever they lie.
    bool operator==(const NSData& other) const;

private:
    mutable std::shared_ptr<const uint8_t[]> owned_;
    mutable const uint8_t* bytes_ = nullptr; // null while `ranges_` alone tell where the bytes are
    std::size_t length_ = 0;
    std::shared_ptr<const std::vector<ByteRange>> ranges_; // null for bytes in one piece
};
