#pragma once

#include <cstdint>

/// Encodings of text in bytes, by the platform's numbers.
enum class NSStringEncoding : uint32_t {
    ShiftJIS = 8,
    MacOSRoman = 30,
};

/// The encoding that programs without Unicode take, by its older numbers.
using TextEncoding = uint32_t;
inline constexpr TextEncoding kTextEncodingMacRoman = 0;
inline constexpr TextEncoding kTextEncodingMacJapanese = 1;

/// No setting of this system decides it: always Mac Roman.
inline TextEncoding GetApplicationTextEncoding()
{
    return kTextEncodingMacRoman;
}
