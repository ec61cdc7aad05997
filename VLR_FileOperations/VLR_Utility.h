#pragma once

#include "VLR_String.h"

#include <cstdint>

/// Conversions between text and numbers, and operations on path texts. They work on bytes.
class VLR_Utility {
public:
    VLR_Utility() = delete;

    static VLR_String SInt32ToString(int32_t number);

    /// The digits after an optional sign, modulo 2^32. What is no digit is skipped and does not end the number: "1a2"
    /// is
    /// 12. The empty text is 0.
    static int32_t StringToSInt32(const VLR_String& text);

    /// Index of the last byte equal to `character`, or kNotFound.
    static uint32_t FindLastAsciiChar(const VLR_String& text, unsigned char character);

    /// The text before the last '.', which may be empty; a copy if there is none. Folders are not looked at.
    static VLR_String StringByRemovingExtension(const VLR_String& path);

    /// The text behind the last path separator, which may be empty; a copy if there is none.
    static VLR_String LastPathComponent(const VLR_String& path);

    /// At most the first `n` code units.
    static VLR_String PrefixOfMaxLength(const VLR_String& text, uint32_t n);

    /// 8 and 2 lower-case digits.
    static VLR_String UInt32AsHex(uint32_t number);
    static VLR_String ByteAsHex(unsigned char byte);

    /// The text of one UTF-16 code unit.
    static VLR_String CharacterAsString(unsigned short unit);

    static constexpr uint32_t kNotFound = 0xFFFFFFFF;
};
