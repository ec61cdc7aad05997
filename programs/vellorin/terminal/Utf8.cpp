#include "Utf8.h"

namespace {

/// The length that a first byte announces; 0 for a byte that can't be first.
std::size_t announcedLength(unsigned char first)
{
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first < 0xE0)
        return 2;
    if (first >= 0xE0 && first < 0xF0)
        return 3;
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

bool isCharacterOfLength(char32_t character, std::size_t length)
{
    if (length == 3)
        return character >= 0x800 && (character < 0xD800 || character > 0xDFFF);
    return length != 4 || (character >= 0x10000 && character <= 0x10FFFF);
}

} // namespace

Utf8Step firstStep(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text.front());
    const Utf8Step wrongByte { first, 1, false };
    const std::size_t length = announcedLength(first);
    if (length == 0 || length > text.size())
        return wrongByte;
    char32_t character = length == 1 ? first : first & (0xFFU >> (length + 1));
    for (const char byte : text.substr(1, length - 1)) {
        if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80)
            return wrongByte;
        character = character << 6 | (static_cast<unsigned char>(byte) & 0x3F);
    }
    return isCharacterOfLength(character, length) ? Utf8Step { character, length, true } : wrongByte;
}

bool isUtf8(std::string_view text)
{
    while (!text.empty()) {
        const Utf8Step step = firstStep(text);
        if (!step.isCharacter)
            return false;
        text.remove_prefix(step.length);
    }
    return true;
}
