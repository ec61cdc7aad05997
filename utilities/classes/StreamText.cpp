#include "StreamText.h"

#include "VLR_MacRoman.h"

#include <unicode/normalizer2.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
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

/// Writes U+FFFD for what is not valid, of whatever length. (The converter's own choice for single bytes is a control
/// character.)
void U_CALLCONV substitute(const void*, UConverterToUnicodeArgs* args, const char*, int32_t,
    UConverterCallbackReason reason, UErrorCode* status)
{
    if (reason > UCNV_IRREGULAR)
        return; // a reset, not a fault of the text
    constexpr char16_t kReplacement = 0xFFFD;
    *status = U_ZERO_ERROR;
    ucnv_cbToUWriteUChars(args, &kReplacement, 1, 0, status);
}

/// The converter's table changes three control characters round, as old terminals did; this changes them back.
char16_t unrotated(char16_t unit)
{
    switch (unit) {
    case 0x1C: return 0x1A;
    case 0x7F: return 0x1C;
    case 0x1A: return 0x7F;
    default: return unit;
    }
}

std::string fromShiftJIS(const uint8_t* bytes, std::size_t length)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUConverterPointer converter(ucnv_open("Shift_JIS", &status));
    ucnv_setToUCallBack(converter.getAlias(), substitute, nullptr, nullptr, nullptr, &status);
    icu::UnicodeString text(
        reinterpret_cast<const char*>(bytes), converterLength(length), converter.getAlias(), status);
    if (U_FAILURE(status))
        throw std::bad_alloc();
    for (int32_t i = 0; i < text.length(); ++i)
        text.setCharAt(i, unrotated(text.charAt(i)));
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
    return encoding == NSStringEncoding::ShiftJIS ? fromShiftJIS(bytes, length) : fromMacRoman(bytes, length);
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
