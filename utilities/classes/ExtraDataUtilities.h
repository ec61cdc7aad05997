#pragma once

#include "NSData.h"
#include "VLR_String.h"

#include <cstddef>
#include <cstdint>
#include <span>

/// Operations on bytes: the first argument is the receiver.
namespace ExtraDataUtilities {

/// Appends to the terminated text in `buffer` two lower-case digits for each byte, and a terminator. A count of 0 or
/// below adds nothing.
/// Raises: NSException kNoRoom, with the buffer as it was, if it holds no terminator or the digits don't fit.
void hexadecimalStringC(const void* bytes, std::ptrdiff_t count, std::span<char> buffer);

/// All bytes in lower-case digits, without separators.
VLR_String hexadecimalString(const NSData& data);

/// Raises: NSException "NSData byteAtIndex index out of range." at or past the length.
uint8_t byteAtIndex(const NSData& data, std::size_t index);

/// Sum of the big-endian 16-bit words, its carries folded back in and not inverted; a last odd byte doesn't count. The
/// same as a block's checksum in the core, for data of any length.
uint16_t computeChecksum(const NSData& data);

/// Name of the exception for a buffer that is too small.
inline constexpr char kNoRoom[] = "NSRangeException";

} // namespace ExtraDataUtilities
