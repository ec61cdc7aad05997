#pragma once

#include "FileSystemCalls.h"

/// Gives a new file the mode, owner, group, access list and extended attributes of an old one, as far as the system
/// permits. Where something can't be kept, the new file gives less access, never more. `oldDescriptor` may be -1: then
/// access list and attributes are lost.
void copyFileMetadata(FileSystemCalls& calls, const struct stat& oldStatus, int oldDescriptor, int newDescriptor);
