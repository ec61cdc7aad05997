#pragma once

#include <cmath>
#include <cstdint>

/// A number cut toward zero, and its low 32 bits as two's complement. 0 for what isn't finite.
inline uint32_t truncatedLow32(double number)
{
    if (!std::isfinite(number))
        return 0;
    constexpr double kModulus = 4294967296.0;
    return static_cast<uint32_t>(static_cast<int64_t>(std::fmod(std::trunc(number), kModulus)));
}

/// The low 16 bits of the same.
inline uint16_t truncatedLow16(double number)
{
    return static_cast<uint16_t>(truncatedLow32(number));
}
