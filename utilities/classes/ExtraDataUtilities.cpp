#include "ExtraDataUtilities.h"

#include "NSException.h"
#include "UtilityExceptions.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace {

constexpr char kByteOutOfRange[] = "NSData byteAtIndex index out of range.";
constexpr int kByteOutOfRangeLine = 1739;

void putDigits(const uint8_t* bytes, std::size_t count, char* digits)
{
    constexpr char kDigits[] = "0123456789abcdef";
    for (std::size_t i = 0; i < count; ++i) {
        digits[2 * i] = kDigits[bytes[i] >> 4];
        digits[2 * i + 1] = kDigits[bytes[i] & 0xF];
    }
}

} // namespace

void ExtraDataUtilities::hexadecimalStringC(const void* bytes, std::ptrdiff_t count, std::span<char> buffer)
{
    if (count <= 0)
        return;
    const auto end = std::find(buffer.begin(), buffer.end(), '\0');
    const auto left = static_cast<std::size_t>(buffer.end() - end); // with the terminator's place
    const auto n = static_cast<std::size_t>(count);
    if (left == 0 || (left - 1) / 2 < n)
        NSException::raise(kNoRoom, "hexadecimalStringC: the buffer is too small.");
    putDigits(static_cast<const uint8_t*>(bytes), n, &*end);
    *(end + 2 * count) = '\0';
}

VLR_String ExtraDataUtilities::hexadecimalString(const NSData& data)
{
    if (data.length() > std::numeric_limits<uint32_t>::max() / 2)
        throw std::length_error("hexadecimalString");
    VLR_String text;
    text.Resize(static_cast<uint32_t>(2 * data.length()));
    putDigits(data.bytes(), data.length(), reinterpret_cast<char*>(text.Bytes()));
    return text;
}

uint8_t ExtraDataUtilities::byteAtIndex(const NSData& data, std::size_t index)
{
    if (index >= data.length())
        raiseInconsistency(kByteOutOfRange, "byteAtIndex:", kByteOutOfRangeLine);
    return data.bytes()[index];
}

uint16_t ExtraDataUtilities::computeChecksum(const NSData& data)
{
    const uint8_t* const bytes = data.bytes();
    uint64_t sum = 0; // wide enough for any length
    for (std::size_t i = 0; i + 1 < data.length(); i += 2)
        sum += static_cast<uint32_t>(bytes[i] << 8 | bytes[i + 1]);
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>(sum);
}
