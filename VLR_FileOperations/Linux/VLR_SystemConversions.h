#pragma once

#include "CGRect.h"
#include "NSColor.h"
#include "NSData.h"
#include "NSRange.h"
#include "VLR_MemoryBlock.h"
#include "VLR_Range.h"
#include "VLR_Stream.h"
#include "VLR_String.h"

#include <cstdint>
#include <optional>
#include <string>

// Core values turned into platform values and back. A platform text is a std::string of UTF-8, absent where the
// platform would have none. What the original platform hands to its caller to release is returned by value here, so the
// forms with and without Alloc do the same.

std::string VLRToSysAlloc(const VLR_String& text);
std::string VLRToSys(const VLR_String& text);

/// A null pointer gives the empty text.
std::string VLRToSysAlloc(const VLR_String* text);
std::string VLRToSys(const VLR_String* text);
std::string VLRStringSummary(const VLR_String* text);

/// The text up to its first zero character.
/// Raises: the platform exception "Bad Class" for an absent text, as do the forms for data and colours.
VLR_String SysToVLR(const std::optional<std::string>& text);

NSData VLRToSysAlloc(const VLR_MemoryBlock& block);
NSData VLRToSys(const VLR_MemoryBlock& block);

/// Raises also "Can't allocate" for data longer than any block.
VLR_MemoryBlock SysToVLR(const std::optional<NSData>& data);

/// Lets `block` borrow the data's bytes, which `data` has to keep for it (VLR_MemoryBlock::Borrow).
void SysToVLR(const std::optional<NSData>& data, VLR_MemoryBlock& block);
void SysToVLR(const NSData& data, VLR_MemoryBlock& block);
void SysToVLR(NSData&& data, VLR_MemoryBlock& block) = delete; // it would be gone before the block

CGRect VLRToSys(const VLR_Rect& rect);

/// Each edge is cut to a 16-bit integer.
VLR_Rect SysToVLR(const CGRect& rect);

/// Opaque, in the device colour space.
NSColor VLRToSys(const VLR_Color& color);

/// Alpha is dropped. A colour that can't be converted to red, green and blue counts as white.
VLR_Color SysToVLR(const std::optional<NSColor>& color);

NSRange VLRToSys(const VLR_Range& range);
VLR_Range SysToVLR(const NSRange& range);

/// The platform's number for an encoding. Raises: VLR_System::kUnknownEncoding.
uint32_t VLRToSysConversionType(VLR_CharacterSetType set);

/// Replaces the file at one stroke. False if it could not be replaced; the old one stands. A signal that ends the program
/// interrupts it (Interrupted), where the program notes signals.
bool VLRWriteToFile(const VLR_MemoryBlock& block, const std::string& path);

/// False if the file can't be opened, is no regular file or above `largest` bytes (the block stays as it was), or if it
/// can't be read whole (the block holds what came). Never waits for a pipe or a device.
bool VLRReadFromFile(VLR_MemoryBlock& block, const std::string& path, uint32_t largest = UINT32_MAX);
