#include "VLR_Utility.h"

#include "VLR_System.h"

#include <algorithm>
#include <limits>

namespace {

VLR_String BytesAsText(const unsigned char* bytes, uint32_t n)
{
    return VLR_String(VLR_MemoryBlock(bytes, n), VLR_CharacterSetUTF8);
}

VLR_String HexDigits(uint32_t number, uint32_t digits)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    VLR_String text;
    for (uint32_t i = digits; i > 0; --i)
        text.AppendByte(static_cast<unsigned char>(kDigits[(number >> (4 * (i - 1))) & 15]));
    return text;
}

} // namespace

VLR_String VLR_Utility::SInt32ToString(int32_t number)
{
    if (number == std::numeric_limits<int32_t>::min())
        return VLR_String("-2147483648", VLR_CharacterSetUTF8); // has no positive counterpart
    uint32_t rest = static_cast<uint32_t>(number < 0 ? -number : number);
    VLR_String reversed;
    do {
        reversed.AppendByte(static_cast<unsigned char>('0' + rest % 10));
        rest /= 10;
    } while (rest > 0);
    VLR_String text;
    if (number < 0)
        text.AppendByte('-');
    for (uint32_t i = reversed.Length(); i > 0; --i)
        text.AppendByte(reversed.ByteAtIndex(i - 1));
    return text;
}

int32_t VLR_Utility::StringToSInt32(const VLR_String& text)
{
    if (text.IsEmpty())
        return 0;
    const unsigned char first = text.ByteAtIndex(0);
    const bool negative = first == '-';
    uint32_t value = 0;
    for (uint32_t i = negative || first == '+' ? 1 : 0; i < text.Length(); ++i) {
        const unsigned char byte = text.ByteAtIndex(i);
        if (byte >= '0' && byte <= '9')
            value = value * 10 + (byte - '0'); // wraps at 32 bits
    }
    return static_cast<int32_t>(negative ? 0 - value : value);
}

uint32_t VLR_Utility::FindLastAsciiChar(const VLR_String& text, unsigned char character)
{
    for (uint32_t i = text.Length(); i > 0; --i) {
        if (text.Bytes()[i - 1] == character)
            return i - 1;
    }
    return kNotFound;
}

VLR_String VLR_Utility::StringByRemovingExtension(const VLR_String& path)
{
    const uint32_t dot = FindLastAsciiChar(path, '.');
    return dot == kNotFound ? path : BytesAsText(path.Bytes(), dot);
}

VLR_String VLR_Utility::LastPathComponent(const VLR_String& path)
{
    static const unsigned short kSeparator = VLR_System::PathSeparator();
    const uint32_t separator = FindLastAsciiChar(path, static_cast<unsigned char>(kSeparator));
    if (separator == kNotFound)
        return path;
    return BytesAsText(path.Bytes() + separator + 1, path.Length() - separator - 1);
}

VLR_String VLR_Utility::PrefixOfMaxLength(const VLR_String& text, uint32_t n)
{
    const uint32_t length = std::min(VLR_System::LengthOfString(text), n);
    return length == 0 ? VLR_String() : VLR_System::SubstringOfRange(text, { 0, length });
}

VLR_String VLR_Utility::UInt32AsHex(uint32_t number)
{
    return HexDigits(number, 8);
}

VLR_String VLR_Utility::ByteAsHex(unsigned char byte)
{
    return HexDigits(byte, 2);
}

VLR_String VLR_Utility::CharacterAsString(unsigned short unit)
{
    const VLR_MemoryBlock units(reinterpret_cast<const unsigned char*>(&unit), sizeof unit);
    return VLR_String(units, VLR_CharacterSetUTF16);
}
