#pragma once

#include "AppleEventSystem.h"
#include "FSRef.h"

#include <cstdint>
#include <string>

/// Operations on a text, which is a path or a bundle identifier: the first argument is the receiver.
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

} // namespace ExtraStringUtilities
