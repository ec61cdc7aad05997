#pragma once

#include "ExitStatus.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// A file that holds the same vault as another one: the identity inside both is the same.
struct VaultCopy {
    std::string path;
    std::string synchroniser; // that gave it its name; empty if the name doesn't tell
};

struct CopiesOfVault {
    std::string vault;
    std::vector<VaultCopy> copies; // in the order of their names
};

/// Why something was not looked through or not decided, and the status that this ends with.
struct Problem {
    ExitStatus status {};
    std::string message;
};

struct FoundCopies {
    std::vector<CopiesOfVault> vaults; // those that have copies
    std::vector<Problem> problems;
};

/// Finds the copies of vaults that file synchronisers leave beside them.
///
/// What makes a copy is the identity inside the file, and its name is a hint. No copies are: links, a further name of
/// the vault itself, numbered backups, files that are still being written, files that the user names too, and files
/// whose name tells nothing and that are kept in step. Only files that begin like a vault are read.
class CopyFinder {
public:
    /// Hears of what is passed over: a path, and why. It matters for a broken vault with the name of a copy.
    using PassedOver = std::function<void(const std::string& path, const std::string& why, bool matters)>;

    /// True if the user names this file.
    using IsNamed = std::function<bool(const std::string& path)>;

    /// True if a file with the same vault is a file of its own, which its user keeps in step with the vault.
    using IsKeptInStep = std::function<bool(const std::string& vault, const std::string& other)>;

    CopyFinder(PassedOver passedOver, IsNamed isNamed, IsKeptInStep isKeptInStep);

    /// The copies in the folder of this vault; of a link, in the folder of the file that it leads to.
    /// Raises: CommandFailure: kFailed if it can't be read or is no vault, kRefused if it has no identity yet, if its
    /// name is that of a numbered backup or of a file that is being written, or that of a copy beside a file with the
    /// same vault that has none.
    CopiesOfVault copiesOf(const std::string& vault) const;

    /// The copies of all vaults in a folder, and in those below it if wanted, but for hidden ones and links. Each
    /// folder counts on its own. The vault is the one whose name is none of a copy; if there are several or none, that
    /// is a problem (kRefused), as is a folder that can't be read (kFailed).
    FoundCopies copiesIn(const std::string& folder, bool recursive) const;

private:
    struct VaultFile;

    std::vector<VaultFile> vaultsIn(const std::string& folder) const;
    void addCopiesIn(const std::string& folder, FoundCopies& found) const;
    void addGroup(const std::vector<VaultFile>& group, FoundCopies& found) const;
    bool isCopy(const VaultFile& candidate, const VaultFile& vault) const;
    bool isCopyOfOtherNamed(const VaultFile& candidate, const VaultFile& vault) const;

    PassedOver passedOver_;
    IsNamed isNamed_;
    IsKeptInStep isKeptInStep_;
};
