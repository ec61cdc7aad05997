#pragma once

#include "AppleEventSystem.h"
#include "FSRef.h"
#include "NSData.h"
#include "NSWorkspace.h"
#include "VLR_String.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

/// Operations on a text, the first argument, unless they are class operations. Paths and bundle identifiers are plain
/// strings; texts that may be secret are the core's, which wipe themselves.
namespace ExtraStringUtilities {

/// Seeks a running process other than this one whose bundle identifier equals the receiver without regard to case. A
/// reference receives its serial number; it may be null.
bool findProcess(
    const std::string& bundleIdentifier, ProcessSerialNumber* serialNumber, AppleEventSystem& eventSystem);

/// A reference to the file system object at a path, after expansion of a leading tilde.
/// Raises: NSException with "Can't find file." or "ExtraContainerUtilities FSRefWithPath".
FSRef FSRefWithPath(const std::string& path);

/// Stores type and creator code in the file's metadata and leaves the rest of it. False and a log line if that fails.
/// Raises: as FSRefWithPath.
bool setType(const std::string& path, uint32_t type, uint32_t creator);

/// The path with a leading "~" or "~user" replaced by the home folder; as it is where there is none.
std::string stringByExpandingTildeInPath(const std::string& path);

// Clipboard

/// The text on the general pasteboard; empty when there is none.
VLR_String stringWithClipboard();

/// Puts the text on the general pasteboard under three types: as a string, under this process's tag, and under
/// "PasswordPboardType". A reader can see that it is a password, and from which process it came.
void copyToClipboard(const VLR_String& text);

/// The type that marks what this process has copied.
std::string clipboardTag();

// The process in front; empty texts where there is none, or the desktop doesn't tell

std::string stringWithFrontProcessName(const NSWorkspace& workspace);

/// That of the process which was in front at the first call of all, whichever is by now, and whichever workspace is
/// asked: callers rely on the one answer.
std::string stringWithFrontProcessBundleID(const NSWorkspace& workspace);

/// Asks anew at each call.
std::string stringWithFrontProcessCreator(const NSWorkspace& workspace);

// Hexadecimal

/// Pairs of digits as bytes. Of each UTF-16 code unit only the low 8 bits count, what is no digit counts 0 with no
/// complaint, and a last digit without a partner is dropped. A text ends where it is no valid UTF-8.
NSData dataFromHexadecimalString(const VLR_String& text);

// Pascal strings: a length byte, then that many bytes of text

/// Numbers of text encodings, as the platform counts them. Others can't be had.
enum TextEncoding : uint32_t {
    kTextEncodingMacRoman = 0,
    kTextEncodingASCII = 0x0600,
    kTextEncodingUTF8 = 0x08000100
};

/// The text in a buffer of 256 bytes, which the innermost autorelease scope keeps and wipes. A text of 128 UTF-16 code
/// units or more is cut to its first 127, or 126 where the cut would part a surrogate pair.
/// Raises: NSException "Unable to CFStringGetPascalString." if the encoding can't express the text, or in more than 255
/// bytes; std::logic_error without a scope.
const unsigned char* pascalStringWithEncoding(const VLR_String& text, uint32_t encoding);

/// In Mac Roman.
const unsigned char* pascalString(const VLR_String& text);

/// Copies length byte and text, cut to `buffSize` bytes in all; leaves the rest of the buffer. Needs no scope.
/// Raises: as pascalString; NSException "NSRangeException", with the buffer as it was, for what `buffer` has no room
/// for, and for a size of 0.
void pascalStringInto(const VLR_String& text, std::span<unsigned char> buffer, uint8_t buffSize);

/// A text from Mac Roman; null gives no text.
std::optional<VLR_String> stringWithPascalString(const unsigned char* pascalString);

} // namespace ExtraStringUtilities
