#pragma once

#include <string>
#include <vector>

class LockSystem;

/// Removes what killed runs have left beside these files, for a run that has nothing to write: one that writes does so
/// by itself. Under the files' locks, which are taken only where something is there; a file that is locked is left
/// alone.
void removeLeftoversOf(const std::vector<std::string>& paths, LockSystem& locks);
