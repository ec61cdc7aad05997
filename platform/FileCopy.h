#pragma once

#include "FileSteps.h"

#include <string>

/// Copies a regular file to a path where nothing is; a link as the source is followed.
///
/// The copy is made as a file that its owner alone can read, shares the content with its source where the file system
/// can, gets the source's mode, times, owner, group, access list and attributes as far as permitted (less access, never
/// more), is synced, and only then takes its name, if that is still free. On a failure nothing is left of it; what a
/// killed process leaves goes when the source is copied to that folder, or replaced there, the next time. A change of
/// the source meanwhile is a failure, as the copy might be of neither state.
/// Raises: FileSystemFailure. Throws Interrupted, before the copy has its name.
void copyFile(FileSystemCalls& calls, const std::string& from, const std::string& to);
