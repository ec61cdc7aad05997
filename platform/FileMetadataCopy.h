#pragma once

#include "FileSystemCalls.h"

/// Gives a new file the mode, owner, group, access list and extended attributes of an old one, as far as the system
/// permits. Where something can't be kept, the new file gives less access, never more: with another group, group and
/// others may do what both of them might; without an access list that the old file had, or may have had, only the owner
/// has access. `oldDescriptor` may be -1: then access list and attributes are lost.
///
/// What belongs to the old content is not taken over: the right to run as its owner or group, capabilities, and the
/// hashes and signatures that the system keeps of it.
void copyFileMetadata(FileSystemCalls& calls, const struct stat& oldStatus, int oldDescriptor, int newDescriptor);
