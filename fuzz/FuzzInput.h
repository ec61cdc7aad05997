#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// The bytes of one input, taken from the front. What isn't there reads as zero.
class FuzzInput {
public:
    FuzzInput(const uint8_t* data, std::size_t size)
        : next(data)
        , left(size)
    {
    }

    bool isEmpty() const { return left == 0; }

    uint8_t byte();

    /// Big-endian.
    uint16_t shortNumber();
    uint32_t number();

    /// A number below `bound`, which is at most 256, from one byte.
    uint32_t below(uint32_t bound) { return byte() % bound; }

    /// As many bytes, or as are left.
    std::string bytes(std::size_t n);

    /// Bytes behind a count of one byte, or of two.
    std::string piece() { return bytes(byte()); }
    std::string longPiece() { return bytes(shortNumber()); }
    std::string rest() { return bytes(left); }

private:
    const uint8_t* next;
    std::size_t left;
};

/// Ends the process if a property doesn't hold, which is how a fuzzer reports it.
void expect(bool holds, const char* property);
