#pragma once

#include <cstdint>

/// Encodings of byte blocks where text enters or leaves the core.
enum VLR_CharacterSetType : int32_t {
    VLR_CharacterSetUTF8 = 1, // the storage form of VLR_String
    VLR_CharacterSetUTF16 = 2, // host byte order, no byte order mark, no terminator
    VLR_CharacterSetASCII = 3,
    VLR_CharacterSetMacRoman = 4,
    VLR_CharacterSetUTF16Terminated = 5 // as 2, with two zero bytes behind the text when converting to it
};

enum VLR_StringComparisonType : int32_t {
    VLR_StringComparisonExact = 0,
    VLR_StringComparisonCaseless = 1
};
