#pragma once

#include "VLR_CharacterSet.h"
#include "VLR_Range.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The text operations as their contract words them: over whole texts, without any short cut, with the library's own
/// operations for folding and normal forms. Slow.
namespace TextModel {

/// Code units; each byte that is not part of valid UTF-8 as the lone unit 0xDC00 + byte.
std::u16string unitsOf(std::string_view utf8);

/// Unpaired surrogates become U+FFFD.
std::string utf8Of(const std::u16string& units);
bool isValid(std::string_view utf8);

std::u16string keyOf(const std::u16string& units, VLR_StringComparisonType type);

std::u16string composed(const std::u16string& units);

/// -1, 0 or 1.
int32_t compare(const std::u16string& a, const std::u16string& b, VLR_StringComparisonType type);
int32_t compare(std::string_view a, std::string_view b, VLR_StringComparisonType type);

/// By trial of all stretches between boundaries.
VLR_Range find(
    const std::u16string& text, const std::u16string& search, const VLR_Range& within, VLR_StringComparisonType type);

std::u16string lowered(const std::u16string& units);

} // namespace TextModel
