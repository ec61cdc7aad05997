#include "VaultCopies.h"

#include "ConflictNames.h"
#include "FileSteps.h"
#include "NSPathUtilities.h"
#include "VaultContents.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

struct CopyFinder::VaultFile {
    std::string path;
    std::string identity;
    uint64_t device = 0;
    uint64_t file = 0;
    std::optional<ConflictName> conflictName;

    bool holdsSameVault(const VaultFile& other) const { return !isSameFile(other) && identity == other.identity; }
    bool isSameFile(const VaultFile& other) const { return device == other.device && file == other.file; }
};

namespace {

constexpr std::array<std::string_view, 2> kBeginsOfVaults = { "VL_4", "Fish" };

std::string joined(const std::string& folder, const std::string& name)
{
    return folder == "." ? name : stringByAppendingPathComponent(folder, name);
}

/// Regular, no link, and with the first bytes of a vault. Never waits, for a pipe or anything else.
bool looksLikeVault(const std::string& path)
{
    const StDescriptor file(
        fileSystemCalls(), ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status { };
    std::array<char, 4> begin {};
    if (file.value < 0 || ::fstat(file.value, &status) != 0 || !S_ISREG(status.st_mode)
        || ::read(file.value, begin.data(), begin.size()) != static_cast<ssize_t>(begin.size()))
        return false;
    const std::string_view bytes(begin.data(), begin.size());
    return std::find(kBeginsOfVaults.begin(), kBeginsOfVaults.end(), bytes) != kBeginsOfVaults.end();
}

/// The names in a folder, sorted. Raises: CommandFailure (kFailed).
std::vector<fs::directory_entry> entriesOf(const std::string& folder)
{
    std::error_code error;
    std::vector<fs::directory_entry> entries;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        entries.push_back(*entry);
    if (error)
        throw CommandFailure(kFailed, folder + ": can't be looked through: " + error.message());
    std::sort(entries.begin(), entries.end());
    return entries;
}

/// The path itself, and of a link that of the file that it leads to.
std::string pathOfRealFile(const std::string& path)
{
    std::error_code error;
    return fs::is_symlink(path, error) ? fs::canonical(path, error).string() : path;
}

/// A backup is to stay as it is, and a file that is being written goes. A copy of either is no better.
void refuseUnlessNameIsOfVault(const std::string& vault, const std::string& realName)
{
    const std::optional<ConflictName> conflictName = conflictNameOf(realName);
    for (const std::string& name : { realName, conflictName ? conflictName->original : realName }) {
        if (isNumberedBackup(name))
            throw CommandFailure(kRefused, vault + ": is a numbered backup by its name, and stays; name the vault");
        if (isUnfinishedFile(name))
            throw CommandFailure(kRefused, vault + ": is not complete yet by its name, and stays; name the vault");
    }
}

std::string listed(const std::vector<std::string>& paths)
{
    std::string text;
    for (const std::string& path : paths)
        text += (text.empty() ? "" : ", ") + path;
    return text;
}

} // namespace

CopyFinder::CopyFinder(PassedOver passedOver, IsNamed isNamed, IsKeptInStep isKeptInStep)
    : passedOver_(std::move(passedOver))
    , isNamed_(std::move(isNamed))
    , isKeptInStep_(std::move(isKeptInStep))
{
}

CopiesOfVault CopyFinder::copiesOf(const std::string& vault) const
{
    const std::string realPath = pathOfRealFile(vault);
    VaultFile self { vault, std::string(readVault(vault).identity), 0, 0, conflictNameOf(nameOf(realPath)) };
    refuseUnlessNameIsOfVault(vault, nameOf(realPath));
    struct stat status { };
    if (::stat(vault.c_str(), &status) == 0) {
        self.device = status.st_dev;
        self.file = status.st_ino;
    }
    if (self.identity.empty())
        throw CommandFailure(
            kRefused, vault + ": has no identity yet, by which its copies could be known; merge them by name instead");

    CopiesOfVault result { vault, {} };
    for (const VaultFile& candidate : vaultsIn(folderOf(realPath))) {
        if (self.conflictName && !candidate.conflictName && candidate.holdsSameVault(self))
            throw CommandFailure(kRefused, vault + ": is a copy of " + candidate.path + " by its name; name that one");
        if (isCopy(candidate, self))
            result.copies.push_back(
                { candidate.path, candidate.conflictName ? candidate.conflictName->synchroniser : "" });
    }
    return result;
}

FoundCopies CopyFinder::copiesIn(const std::string& folder, bool recursive) const
{
    FoundCopies found;
    try {
        addCopiesIn(folder, found);
        for (const fs::directory_entry& entry : recursive ? entriesOf(folder) : std::vector<fs::directory_entry>()) {
            std::error_code ignored;
            const std::string name = entry.path().filename().string();
            if (entry.is_symlink(ignored) || !entry.is_directory(ignored) || name.starts_with('.'))
                continue;
            FoundCopies below = copiesIn(joined(folder, name), recursive);
            std::move(below.vaults.begin(), below.vaults.end(), std::back_inserter(found.vaults));
            std::move(below.problems.begin(), below.problems.end(), std::back_inserter(found.problems));
        }
    } catch (const CommandFailure& failure) {
        found.problems.push_back({ failure.status(), failure.what() });
    }
    return found;
}

std::vector<CopyFinder::VaultFile> CopyFinder::vaultsIn(const std::string& folder) const
{
    std::vector<VaultFile> vaults;
    for (const fs::directory_entry& entry : entriesOf(folder)) {
        const std::string name = entry.path().filename().string();
        const std::string path = joined(folder, name);
        struct stat status { };
        if (!looksLikeVault(path) || ::lstat(path.c_str(), &status) != 0)
            continue;
        if (isUnfinishedFile(name) || isNumberedBackup(name)) {
            passedOver_(
                path, isNumberedBackup(name) ? "is a numbered backup" : "is not complete yet", /*matters=*/false);
            continue;
        }
        try {
            const std::string identity(readVault(path).identity);
            vaults.push_back({ path, identity, status.st_dev, status.st_ino, conflictNameOf(name) });
        } catch (const CommandFailure& failure) {
            passedOver_(path, failure.what(), /*matters=*/conflictNameOf(name).has_value());
        }
    }
    return vaults;
}

void CopyFinder::addCopiesIn(const std::string& folder, FoundCopies& found) const
{
    std::map<std::string, std::vector<VaultFile>> byIdentity;
    for (VaultFile& vault : vaultsIn(folder)) {
        if (vault.identity.empty())
            passedOver_(vault.path, "has no identity yet", /*matters=*/vault.conflictName.has_value());
        else
            byIdentity[vault.identity].push_back(std::move(vault));
    }
    for (const auto& [identity, group] : byIdentity) {
        if (group.size() > 1)
            addGroup(group, found);
    }
}

void CopyFinder::addGroup(const std::vector<VaultFile>& group, FoundCopies& found) const
{
    std::vector<VaultFile> originals;
    std::vector<std::string> paths;
    for (const VaultFile& file : group) {
        if (!file.conflictName)
            originals.push_back(file);
    }
    for (const VaultFile& file : originals.empty() ? group : originals)
        paths.push_back(file.path);
    if (originals.size() != 1) {
        found.problems.push_back({ kRefused,
            listed(paths) + ": hold the same vault, and "
                + (originals.empty() ? "each has the name of a copy" : "none has the name of a copy")
                + "; name the one that is to stay" });
        return;
    }
    CopiesOfVault result { originals.front().path, {} };
    for (const VaultFile& file : group) {
        if (isCopy(file, originals.front()))
            result.copies.push_back({ file.path, file.conflictName->synchroniser });
    }
    if (!result.copies.empty())
        found.vaults.push_back(std::move(result));
}

bool CopyFinder::isCopy(const VaultFile& candidate, const VaultFile& vault) const
{
    if (!candidate.holdsSameVault(vault))
        return false;
    std::string why;
    if (isNamed_(candidate.path))
        why = "is named too, and is no copy of " + vault.path + " to clear away";
    else if (isCopyOfOtherNamed(candidate, vault))
        why = "is a copy of " + candidate.conflictName->original + " by its name, which is named too";
    else if (!candidate.conflictName && isKeptInStep_(vault.path, candidate.path))
        why = "stands apart from " + vault.path + ", and is no copy to clear away";
    if (!why.empty())
        passedOver_(candidate.path, why, /*matters=*/false);
    return why.empty();
}

/// By its name it belongs to another file beside it that the user names as well.
bool CopyFinder::isCopyOfOtherNamed(const VaultFile& candidate, const VaultFile& vault) const
{
    if (!candidate.conflictName || candidate.conflictName->original == nameOf(pathOfRealFile(vault.path)))
        return false;
    return isNamed_(joined(folderOf(candidate.path), candidate.conflictName->original));
}
