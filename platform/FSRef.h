#pragma once

#include "NSURL.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

/// The platform's opaque reference to a file system object: device and file number, so that any two paths of one object
/// give the same value.
struct FSRef {
    std::array<uint8_t, 80> hidden = {};
};

/// 0, -43 if there is no such file, or another error of the classic kind. A symbolic link is followed, through any
/// number of further links.
///
/// The program remembers the paths of the last 256 objects that it made references of, so that it can lead back there.
int16_t FSPathMakeRef(const std::string& path, FSRef& ref);

/// 0 if both mean the same object.
int16_t FSCompareFSRefs(const FSRef& a, const FSRef& b);

/// Makes a reference to an alias one to what that leads to; 0, or -43 if the reference leads nowhere. A reference made
/// here never means a link, so that only this second case is left.
int16_t FSResolveAliasFile(FSRef& ref);

/// The object's absolute path without links, the one by which it was last referred to if it has several. Absent if it
/// isn't there any more, or if its path isn't remembered.
std::optional<NSURL> CFURLCreateFromFSRef(const FSRef& ref);
