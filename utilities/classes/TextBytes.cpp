#include "TextBytes.h"

#include "VLR_System.h"

#include <cstdint>
#include <limits>
#include <stdexcept>

VLR_String textWithBytes(std::string_view bytes)
{
    if (bytes.size() > std::numeric_limits<uint32_t>::max())
        throw std::length_error("text");
    const VLR_MemoryBlock block(
        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
    return VLR_String(block, VLR_CharacterSetUTF8);
}

std::string_view bytesOf(const VLR_MemoryBlock& block)
{
    return { reinterpret_cast<const char*>(block.Bytes()), block.Length() };
}

std::size_t textLength(const VLR_String& text)
{
    const uint32_t units = VLR_System::LengthOfString(text);
    return units > 0 ? units : text.Length();
}

std::size_t textLength(std::string_view bytes)
{
    return textLength(textWithBytes(bytes));
}
