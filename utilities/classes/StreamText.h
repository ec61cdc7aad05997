#pragma once

#include "NSStringEncoding.h"
#include "VLR_String.h"

#include <cstddef>
#include <cstdint>

/// From the bytes of a stream to text, which may be secret: whatever it passes through is wiped.
/// Raises: VLR_Exception "Can't allocate", also for texts longer than the converters can take.
namespace StreamText {

/// Shift-JIS where programs without Unicode are Japanese, otherwise Mac Roman.
NSStringEncoding classicEncoding(TextEncoding application);

/// Decodes classic text; there is no terminator. Bytes that the encoding doesn't have become U+FFFD.
VLR_String fromClassic(const uint8_t* bytes, std::size_t length, NSStringEncoding encoding);

/// UTF-8 in its precomposed form (NFC). Each sequence that is not valid becomes U+FFFD, and the text around it stays.
VLR_String precomposed(const uint8_t* bytes, std::size_t length);

} // namespace StreamText
