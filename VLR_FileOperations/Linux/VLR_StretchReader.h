#pragma once

#include "VLR_String.h"
#include "VLR_Unicode.h"

#include <span>

/// What reading takes besides the text, kept by whoever reads many texts with one type of comparison.
struct VLR_StretchBuffers {
    explicit VLR_StretchBuffers(VLR_StringComparisonType type)
        : caseless(type == VLR_StringComparisonCaseless)
        , maker(type, key)
    {
    }
    VLR_StretchBuffers(const VLR_StretchBuffers&) = delete;
    VLR_StretchBuffers& operator=(const VLR_StretchBuffers&) = delete;

    const bool caseless;
    VLR_UTF16 units;
    VLR_CodePoints key;
    VLR_Unicode::KeyMaker maker;
};

/// Walks a text from one boundary to the next and hands out the key of each stretch between them, so that who looks for
/// a difference or a match makes no more of the key than it needs.
class VLR_StretchReader {
public:
    /// `start` bytes of ASCII are left out. Text and buffers are borrowed; a cached representation is not used.
    VLR_StretchReader(const VLR_String& text, uint32_t start, VLR_StretchBuffers& buffers)
        : bytes(text.Bytes())
        , length(text.Length())
        , offset(start)
        , buffers(buffers)
    {
    }
    VLR_StretchReader(const VLR_StretchReader&) = delete;
    VLR_StretchReader& operator=(const VLR_StretchReader&) = delete;

    /// Goes to the next stretch; false at the end.
    bool Next()
    {
        if (offset == length)
            return false;
        if (bytes[offset] >= kFirstBeyondASCII || (offset + 1 < length && bytes[offset + 1] >= kFirstBeyondASCII)) {
            ReadLongStretch();
            return true;
        }
        const unsigned char c = bytes[offset++];
        single = buffers.caseless ? VLR_Unicode::FoldASCII(c) : c;
        key = { &single, 1 };
        unitCount = 1;
        return true;
    }

    /// Of the present stretch; until the next call of Next.
    std::span<const char32_t> Key() const { return key; }
    uint32_t UnitCount() const { return unitCount; }

    /// False once a byte has come that is not valid UTF-8.
    bool IsValid() const { return isValid; }

private:
    void ReadLongStretch();
    bool IsAtBoundary() const;

    static constexpr unsigned char kFirstBeyondASCII = 0x80;

    const unsigned char* bytes;
    uint32_t length;
    uint32_t offset;
    VLR_StretchBuffers& buffers;
    bool isValid = true;
    char32_t single = 0;
    uint32_t unitCount = 0;
    std::span<const char32_t> key;
};
