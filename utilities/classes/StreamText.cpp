#include "StreamText.h"

#include "VLR_MacRoman.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <limits>
#include <new>

namespace {

constexpr uint8_t kFirstBeyondASCII = 0x80;

int32_t converterLength(std::size_t length)
{
    if (length > static_cast<std::size_t>(std::numeric_limits<int32_t>::max()))
        throw std::bad_alloc();
    return static_cast<int32_t>(length);
}

std::string utf8Of(const icu::UnicodeString& text)
{
    if (text.isBogus())
        throw std::bad_alloc();
    std::string result;
    return text.toUTF8String(result);
}

std::string fromMacRoman(const uint8_t* bytes, std::size_t length)
{
    icu::UnicodeString text(converterLength(length), UChar32 { 0 }, 0); // room for as many units
    for (std::size_t i = 0; i < length; ++i) {
        const uint8_t byte = bytes[i];
        text.append(byte < kFirstBeyondASCII ? char16_t { byte } : kMacRomanUpperHalf[byte - kFirstBeyondASCII]);
    }
    return utf8Of(text);
}

} // namespace

NSStringEncoding StreamText::classicEncoding(TextEncoding application)
{
    return application == kTextEncodingMacJapanese ? NSStringEncoding::ShiftJIS : NSStringEncoding::MacOSRoman;
}

std::string StreamText::fromClassic(const uint8_t* bytes, std::size_t length, NSStringEncoding encoding)
{
    if (length == 0)
        return "";
    if (encoding == NSStringEncoding::MacOSRoman)
        return fromMacRoman(bytes, length);
    return utf8Of(icu::UnicodeString(reinterpret_cast<const char*>(bytes), converterLength(length), "Shift_JIS"));
}

std::string StreamText::precomposed(const uint8_t* bytes, std::size_t length)
{
    const icu::StringPiece piece(reinterpret_cast<const char*>(bytes), converterLength(length));
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(piece);
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* const composer = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status) || text.isBogus())
        throw std::bad_alloc();
    const icu::UnicodeString result = composer->normalize(text, status);
    if (U_FAILURE(status))
        throw std::bad_alloc();
    return utf8Of(result);
}
