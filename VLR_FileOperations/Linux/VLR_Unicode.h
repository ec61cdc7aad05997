#pragma once

#include "VLR_CharacterSet.h"
#include "VLR_WipingAllocator.h"

#include <cstdint>

// UTF-8, and the form in which texts are compared and searched.

namespace VLR_Unicode {

inline constexpr char32_t kReplacement = 0xFFFD;

bool IsASCII(const unsigned char* bytes, uint32_t length);

/// The code points of UTF-8 bytes; `isValid` tells whether all of them are valid UTF-8.
VLR_CodePoints Decode(const unsigned char* bytes, uint32_t length, bool& isValid);

/// Appends one code point as UTF-8; a lone surrogate takes the three bytes of its number.
void AppendUTF8(VLR_MemoryBlock& text, char32_t codePoint);

/// UTF-16 code units of one code point.
inline uint32_t UnitsOf(char32_t codePoint) { return codePoint > 0xFFFF ? 2 : 1; }

/// True if normalisation never carries anything across the place before this code point.
bool HasBoundaryBefore(char32_t codePoint);

/// Appends what stands for code points [first, last) when texts are compared: canonically decomposed and ordered and,
/// for caseless comparison, folded in full. The range begins and ends at boundaries.
/// Cost: n log n in the longest run of combining marks.
void AppendKey(const char32_t* first, const char32_t* last, VLR_StringComparisonType type, VLR_CodePoints& key);

/// The key of a whole text.
VLR_CodePoints KeyOf(const VLR_CodePoints& text, VLR_StringComparisonType type);

/// ASCII letters only; what a full folding does to ASCII text.
inline unsigned char FoldASCII(unsigned char c) { return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c; }

} // namespace VLR_Unicode
