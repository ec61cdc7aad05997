#include "StreamText.h"

#include "VLR_Exception.h"
#include "VLR_System.h"
#include "VLR_Unicode.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/unorm2.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <limits>
#include <memory>

namespace {

struct ConverterCloser {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
};

int32_t converterLength(std::size_t length)
{
    if (length > static_cast<std::size_t>(std::numeric_limits<int32_t>::max()))
        VLR_RAISE(VLR_System::kCantAllocate);
    return static_cast<int32_t>(length);
}

void requireSuccess(UErrorCode status)
{
    if (U_FAILURE(status))
        VLR_RAISE(VLR_System::kCantAllocate); // there is no other reason
}

VLR_String textOf(const VLR_UTF16& units)
{
    VLR_String text;
    VLR_Unicode::StoreUTF8(units, text);
    return text;
}

VLR_String fromMacRoman(const uint8_t* bytes, std::size_t length)
{
    return VLR_String(VLR_MemoryBlock(bytes, static_cast<uint32_t>(converterLength(length))), VLR_CharacterSetMacRoman);
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

VLR_String fromShiftJIS(const uint8_t* bytes, std::size_t length)
{
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, ConverterCloser> converter(ucnv_open("Shift_JIS", &status));
    requireSuccess(status);
    ucnv_setToUCallBack(converter.get(), substitute, nullptr, nullptr, nullptr, &status);
    VLR_UTF16 units(length + 1); // no character takes more units than bytes
    const int32_t count = ucnv_toUChars(converter.get(), units.data(), converterLength(units.size()),
        reinterpret_cast<const char*>(bytes), converterLength(length), &status);
    requireSuccess(status);
    units.resize(static_cast<std::size_t>(count));
    for (char16_t& unit : units)
        unit = unrotated(unit);
    return textOf(units);
}

VLR_UTF16 decoded(const uint8_t* bytes, std::size_t length)
{
    VLR_UTF16 units(length); // never more units than bytes
    std::size_t count = 0;
    for (std::size_t i = 0; i < length;) {
        UChar32 codePoint = 0;
        U8_NEXT_OR_FFFD(bytes, i, length, codePoint);
        U16_APPEND_UNSAFE(units.data(), count, codePoint);
    }
    units.resize(count);
    return units;
}

VLR_UTF16 composed(const VLR_UTF16& units)
{
    constexpr std::size_t kMostUnitsForOne = 3; // the longest that composing makes of one unit
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* const composer = unorm2_getNFCInstance(&status);
    requireSuccess(status);
    VLR_UTF16 result(kMostUnitsForOne * units.size() + 1);
    const int32_t count = unorm2_normalize(
        composer, units.data(), converterLength(units.size()), result.data(), converterLength(result.size()), &status);
    requireSuccess(status);
    result.resize(static_cast<std::size_t>(count));
    return result;
}

} // namespace

NSStringEncoding StreamText::classicEncoding(TextEncoding application)
{
    return application == kTextEncodingMacJapanese ? NSStringEncoding::ShiftJIS : NSStringEncoding::MacOSRoman;
}

VLR_String StreamText::fromClassic(const uint8_t* bytes, std::size_t length, NSStringEncoding encoding)
{
    if (length == 0)
        return VLR_String();
    return encoding == NSStringEncoding::ShiftJIS ? fromShiftJIS(bytes, length) : fromMacRoman(bytes, length);
}

VLR_String StreamText::precomposed(const uint8_t* bytes, std::size_t length)
{
    return textOf(composed(decoded(bytes, length)));
}
