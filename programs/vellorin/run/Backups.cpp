#include "Backups.h"

#include "Console.h"
#include "ExitStatus.h"
#include "ExtraStringUtilities.h"
#include "FileCopy.h"
#include "FilePaths.h"
#include "Interruption.h"
#include "NSFileItems.h"
#include "NSFileManager.h"
#include "NSPathUtilities.h"
#include "StagedFiles.h"
#include "VaultContents.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <tuple>

#include <fcntl.h>

namespace {

constexpr char kWord[] = " backup ";
constexpr uint32_t kFewNumbersLeft = 90;

/// The files of Linux, and a note of what was copied where, or why not.
class NotingItems final : public NSFileItems {
public:
    explicit NotingItems(std::string& copy)
        : copy(copy)
    {
    }

    bool fileExistsAtPath(const std::string& path) override { return items.fileExistsAtPath(path); }
    FileSystemAttributes attributesOfFileSystemForPath(const std::string& path) override
    {
        return items.attributesOfFileSystemForPath(path);
    }
    bool removeItemAtPath(const std::string& path) override { return items.removeItemAtPath(path); }
    bool copyItemAtPath(const std::string& path, const std::string& toPath) override
    {
        try {
            std::string made = toPath; // noting it may not lack memory once it is there
            copyFile(fileSystemCalls(), path, toPath);
            copy = std::move(made);
            return true;
        } catch (const FileSystemFailure& failure) {
            reason = failure.reason;
            return false;
        }
    }

    LinuxFileItems items;
    std::string& copy;
    std::string reason = "all numbers up to 100 are taken; remove some of the older backups";
};

/// A backup's number if the name is one of a backup of the file `base` + `extension`.
std::optional<uint32_t> numberOf(const std::string& name, const std::string& base, const std::string& extension)
{
    const std::string begin = base + kWord;
    if (!name.starts_with(begin) || !name.ends_with(extension) || name.size() < begin.size() + extension.size())
        return std::nullopt;
    const char* const digits = name.data() + begin.size();
    const char* const digitsEnd = name.data() + name.size() - extension.size();
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(digits, digitsEnd, number);
    const bool isPlain = error == std::errc() && end == digitsEnd && *digits != '0';
    return isPlain && number >= 1 && number <= Backups::kHighestNumber ? std::optional(number) : std::nullopt;
}

std::string extensionWithDot(const std::string& name)
{
    const std::string extension = pathExtension(name);
    return extension.empty() ? extension : "." + extension;
}

/// The name without " backup N": a backup's backups are numbered on from it.
std::string baseOf(const std::string& name)
{
    const std::string base = stringByDeletingPathExtension(name);
    const std::size_t word = base.rfind(kWord);
    return word != std::string::npos && numberOf(base, base.substr(0, word), "") ? base.substr(0, word) : base;
}

uint32_t numberIn(const std::string& backup)
{
    const std::string name = lastPathComponent(backup);
    return numberOf(name, baseOf(name), extensionWithDot(name)).value_or(0);
}

std::optional<NSData> bytesAt(const std::string& path)
{
    return LinuxFileManager().dataWithContentsOfFile(path);
}

/// Whether what it holds may be nowhere else in full.
bool holdsDamage(const NSData& bytes)
{
    try {
        return !VaultContents(bytes).isCarriedWhole();
    } catch (const NoVault&) {
        return true;
    }
}

bool mayGo(const std::string& backup, const std::vector<std::string>& others)
{
    const std::optional<NSData> bytes = bytesAt(backup);
    if (!bytes)
        return false;
    if (!holdsDamage(*bytes))
        return true;
    return std::any_of(others.begin(), others.end(), [&](const std::string& other) {
        const std::optional<NSData> otherBytes = other != backup ? bytesAt(other) : std::nullopt;
        return otherBytes && *otherBytes == *bytes;
    });
}

bool holds(const std::vector<std::string>& paths, const std::string& path)
{
    return std::find(paths.begin(), paths.end(), path) != paths.end();
}

} // namespace

Backups::~Backups()
{
    if (isKept_)
        return;
    for (const Made& made : made_) {
        if (!made.backup.empty())
            fileSystemCalls().unlinkAt(AT_FDCWD, made.backup);
    }
}

std::string Backups::make(const std::string& path, const NSData& bytes)
{
    const std::string file = absolutePath(path);
    if (backupsOf(file).size() >= kHighestNumber)
        pruneBackups(file, most_, sparedAnd(file));
    made_.push_back({ file, "" });
    const std::string& backup = made_.back().backup;
    NotingItems items(made_.back().backup);
    const bool isMade = ExtraStringUtilities::isBackupMade(ExtraStringUtilities::makeBackupCopy(file, items));
    if (!isMade)
        throw CommandFailure(kFailed, path + ": no backup can be made: " + items.reason + "; no file was changed");
    const std::optional<NSData> copy = bytesAt(backup);
    if (!copy || !(*copy == bytes))
        throw FileChanged(path);
    if (numberIn(backup) > kFewNumbersLeft)
        console_.say(printable(path) + ": backup number " + std::to_string(numberIn(backup)) + " is taken; there are "
            + std::to_string(kHighestNumber) + ", so remove older backups soon");
    return backup;
}

void Backups::prune()
{
    const StForgetInterruptions behindTheReplacement;
    try {
        for (const Made& made : made_)
            pruneBackups(made.path, most_, sparedAnd(made.path));
    } catch (const std::exception& exception) {
        console_.complainOf(exception, "older backups stay: ");
    } catch (const Interrupted&) {
        return; // until the next run
    }
}

std::vector<std::string> Backups::sparedAnd(const std::string& path) const
{
    std::vector<std::string> spared { path };
    for (const std::string& other : spared_) {
        if (!other.empty())
            spared.push_back(absolutePath(other));
    }
    for (const Made& made : made_)
        spared.insert(spared.end(), { made.path, made.backup });
    return spared;
}

std::vector<std::string> backupsOf(const std::string& path)
{
    const std::string file = absolutePath(path);
    const std::string name = lastPathComponent(file);
    const std::string base = baseOf(name);
    const std::string extension = extensionWithDot(name);
    FileSystemCalls& calls = fileSystemCalls();
    const StDescriptor folder(calls, calls.openAt(AT_FDCWD, folderOf(file), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    std::vector<std::string> names;
    if (folder.value < 0 || calls.namesIn(folder.value, names) != 0)
        return {};
    std::vector<std::tuple<int64_t, int64_t, uint32_t, std::string>> found;
    for (const std::string& candidate : names) {
        const std::optional<uint32_t> number = numberOf(candidate, base, extension);
        struct stat status { };
        if (number && calls.statAt(folder.value, candidate, status, AT_SYMLINK_NOFOLLOW) == 0
            && S_ISREG(status.st_mode))
            found.emplace_back(status.st_mtim.tv_sec, status.st_mtim.tv_nsec, *number, candidate);
    }
    std::sort(found.begin(), found.end());
    std::vector<std::string> backups;
    backups.reserve(found.size());
    for (const auto& [seconds, nanoseconds, number, candidate] : found)
        backups.push_back(stringByAppendingPathComponent(folderOf(file), candidate));
    return backups;
}

void pruneBackups(const std::string& path, std::size_t most, const std::vector<std::string>& spared)
{
    std::vector<std::string> left = backupsOf(path);
    for (const std::string& backup : std::vector<std::string>(left)) {
        if (left.size() <= most)
            return;
        if (!holds(spared, backup) && mayGo(backup, left) && fileSystemCalls().unlinkAt(AT_FDCWD, backup) == 0)
            std::erase(left, backup);
    }
}
