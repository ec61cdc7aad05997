#pragma once

#include <optional>
#include <string>

/// What a file's name tells of where it comes from. A hint and no more: anybody may give a file any name.
struct ConflictName {
    std::string synchroniser; // "Syncthing"
    std::string original; // the name of the file that this is a copy of; of a copy's copy, the first one's
};

/// Reads the names that file synchronisers give to the copy of a file that was changed in two places. Absent for any
/// other name. `name` is one name without a folder.
std::optional<ConflictName> conflictNameOf(const std::string& name);

/// "Vault backup 7.vlr": a numbered backup as this project makes them (1 to 100), which was kept on purpose.
bool isNumberedBackup(const std::string& name);

/// A file that this project or a synchroniser is still writing, or was when it was killed.
bool isUnfinishedFile(const std::string& name);
