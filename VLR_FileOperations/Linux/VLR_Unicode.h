#pragma once

#include "VLR_CharacterSet.h"
#include "VLR_WipingAllocator.h"

#include <cstdint>

class VLR_MemoryBlock;

// UTF-8, UTF-16, and the form in which texts are compared and searched.

namespace VLR_Unicode {

inline constexpr char16_t kReplacement = 0xFFFD;
inline constexpr unsigned char kFirstBeyondASCII = 0x80;

bool IsASCII(const unsigned char* bytes, uint32_t length);
bool IsASCII(const VLR_MemoryBlock& text);

/// The code units of UTF-8 bytes. `validUnits` is how many of them come before the first byte that is not valid UTF-8.
VLR_UTF16 Decode(const unsigned char* bytes, uint32_t length, std::size_t& validUnits);

/// The code point that begins at `offset`, or kReplacement.
char32_t CodePointAt(const unsigned char* bytes, uint32_t length, uint32_t offset);

/// Decodes what begins at `offset`, appends its code units and moves `offset` behind it. False if it is not valid
/// UTF-8.
bool DecodeNext(const unsigned char* bytes, uint32_t length, uint32_t& offset, VLR_UTF16& units);

/// How many code units `length` bytes of UTF-8 make; all ones for bytes that are not valid UTF-8.
uint32_t CountUnits(const unsigned char* bytes, uint32_t length);
inline constexpr uint32_t kNoUnits = 0xFFFFFFFF;

/// Unpaired surrogates become kReplacement.
void Mend(VLR_UTF16& units);

/// Makes `to` the UTF-8 form of a text without unpaired surrogates, in storage of the right size.
void StoreUTF8(const VLR_UTF16& units, VLR_MemoryBlock& to);

/// True if normalisation, composing or decomposing, never carries anything across the place before this code point.
/// Such places are the same in all texts that are canonically equivalent.
bool HasBoundaryBefore(char32_t codePoint);

/// ASCII letters only: what full case folding does to ASCII text.
inline unsigned char FoldASCII(unsigned char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c;
}

/// Whether a text of valid UTF-8 has a character beyond ASCII that compares equal to ASCII text, in either way of
/// comparison: sharp s, long s, ligatures, the Kelvin sign, the Greek question mark and varia. In all other texts ASCII
/// is met by ASCII alone. Cost: linear.
bool HoldsEquivalentOfASCII(const unsigned char* bytes, uint32_t length);

/// Whether what such a character compares equal to begins with this byte, in whatever case.
inline bool MayBeginEquivalent(unsigned char c)
{
    const unsigned char folded = FoldASCII(c);
    return folded == 's' || folded == 'f' || folded == 'k' || folded == ';' || folded == '`';
}

/// Appends to `key` what stands for a stretch of text when texts are compared: canonically decomposed and ordered and,
/// for caseless comparison, folded in full. One maker serves many stretches and keeps its buffers between them.
class KeyMaker {
public:
    KeyMaker(VLR_StringComparisonType type, VLR_CodePoints& key);

    /// The stretch begins and ends at boundaries. Cost: linear, runs of combining marks included.
    void Append(const char16_t* first, const char16_t* last);

private:
    const bool caseless;
    VLR_CodePoints& key;
    VLR_CodePoints decomposed;
    VLR_CodePoints folded;
};

/// The key of a whole text.
VLR_CodePoints KeyOf(const VLR_UTF16& text, VLR_StringComparisonType type);

} // namespace VLR_Unicode
