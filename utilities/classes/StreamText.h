#pragma once

#include "NSStringEncoding.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// From the bytes of a stream to text. Texts longer than the converters can take raise std::bad_alloc.
namespace StreamText {

/// Shift-JIS where programs without Unicode are Japanese, otherwise Mac Roman.
NSStringEncoding classicEncoding(TextEncoding application);

/// Decodes classic text; there is no terminator. Bytes that the encoding doesn't have become U+FFFD.
std::string fromClassic(const uint8_t* bytes, std::size_t length, NSStringEncoding encoding);

/// UTF-8 in its precomposed form (NFC). Each sequence that is not valid becomes U+FFFD, and the text around it stays.
std::string precomposed(const uint8_t* bytes, std::size_t length);

} // namespace StreamText
