#pragma once

#include "FileSystemCalls.h"

#include <string>

// What killed programs leave beside a vault, and what becomes of it at the next run. Whoever makes a temporary file or
// a lock's folder keeps it open and marked as in use; the system takes the mark away with the process. So what has the
// form of such a name, is ours and can be marked was left over. Where marks are unknown, nothing is ever removed. A
// file that is caught in the moment before it is marked fails its maker's replacement, with the old file in place.

/// Removes the temporary files that replacing or copying the file `name` has left in `folder`: regular files that the
/// caller owns. No link is followed. What can't be removed stays.
void removeLeftoverFiles(FileSystemCalls& calls, int folder, const std::string& name);

/// Removes the folders that giving back the lock at `path` has left beside it. The lock itself is none of them.
void removeLeftoverLocks(FileSystemCalls& calls, const std::string& path);

/// The name in a lock's folder of the note for people.
inline constexpr char kLockNote[] = "holder";

/// Where a lock is moved to when it is given back.
std::string pathAside(const std::string& path);
