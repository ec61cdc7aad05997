#pragma once

#include "VLR_String.h"

#include <cstddef>
#include <string_view>

// Between the core's texts and the bytes of the platform.

/// A text of these UTF-8 bytes, valid or not. Raises: std::length_error past 32 bits.
VLR_String textWithBytes(std::string_view bytes);

/// The block's bytes, for as long as it stays as it is.
std::string_view bytesOf(const VLR_MemoryBlock& block);

/// Length in UTF-16 code units, as ranges count. Bytes that are not valid UTF-8 count one each.
std::size_t textLength(const VLR_String& text);
std::size_t textLength(std::string_view bytes);
