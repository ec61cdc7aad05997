#include "PlainBytes.h"

#include "FuzzInput.h"
#include "TextModel.h"

#include <unicode/ucnv.h>

namespace {

/// By the library's own table.
std::string utf8OfMacRoman(const std::string& bytes)
{
    static UConverter* const converter = [] {
        UErrorCode error = U_ZERO_ERROR;
        UConverter* const made = ucnv_open("macintosh", &error);
        expect(U_SUCCESS(error), "the library knows Mac Roman");
        return made;
    }();
    std::u16string units(2 * bytes.size() + 1, u'\0');
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = ucnv_toUChars(converter, units.data(), static_cast<int32_t>(units.size()), bytes.data(),
        static_cast<int32_t>(bytes.size()), &error);
    expect(U_SUCCESS(error), "the library reads Mac Roman");
    units.resize(static_cast<std::size_t>(length));
    return TextModel::utf8Of(units);
}

} // namespace

std::string PlainBytes::take(std::size_t n)
{
    wasCut = wasCut || n > rest.size();
    if (wasCut) {
        rest.clear();
        return {};
    }
    const std::string taken = rest.substr(0, n);
    rest.erase(0, n);
    return taken;
}

uint32_t PlainBytes::number(std::size_t size)
{
    uint32_t value = 0;
    for (const char byte : take(size))
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

std::string PlainBytes::chunk()
{
    const uint32_t count = number(4);
    return take(count == 0xFFFFFFFF ? 0 : count);
}

std::string PlainBytes::shortText()
{
    return utf8OfMacRoman(take(number(1)));
}

std::string PlainBytes::asciiText()
{
    std::string text;
    for (const char byte : chunk()) {
        if (static_cast<unsigned char>(byte) < 0x80)
            text += byte;
        else
            text += "\xEF\xBF\xBD"; // U+FFFD
    }
    return text;
}

std::string utf8OfUtf16(const std::string& bytes)
{
    std::u16string units;
    PlainBytes left(bytes.substr(0, bytes.size() / 2 * 2));
    while (!left.isAtEnd())
        units += static_cast<char16_t>(left.number(2));
    return TextModel::utf8Of(units);
}
