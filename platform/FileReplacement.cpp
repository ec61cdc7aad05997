#include "FileReplacement.h"

#include "FileCopy.h"
#include "FileMetadataCopy.h"
#include "Interruption.h"
#include "Leftovers.h"

#include <cerrno>
#include <cstring>
#include <limits.h>
#include <utility>

#include <fcntl.h>

namespace {

constexpr int kMostLinks = 40;
constexpr char kReplacedSince[] = "somebody else has replaced it since";

} // namespace

FileReplacement::FileReplacement(FileSystemCalls& calls, const std::string& path)
    : FileReplacement(calls) // complete from here on: a failure closes what it leaves open
{
    resolveLinks(path);
    folder_ = openFolder(calls_, folderPath_);
    oldFile_ = presentFile();
    if (oldFile_ && !S_ISREG(oldFile_->st_mode))
        throw FileSystemFailure { "not a regular file", /*isReplaced=*/false };
}

FileReplacement::~FileReplacement()
{
    if (descriptor_ >= 0)
        calls_.close(descriptor_);
    if (!newName_.empty() && !committed_)
        calls_.unlinkAt(folder_.descriptor, newName_);
    if (!keptName_.empty())
        calls_.unlinkAt(folder_.descriptor, keptName_);
    if (oldDescriptor_ >= 0)
        calls_.close(oldDescriptor_);
    if (folder_.descriptor >= 0)
        calls_.close(folder_.descriptor);
}

void FileReplacement::resolveLinks(const std::string& path)
{
    std::string resolved = path;
    for (int links = 0; links <= kMostLinks; ++links) {
        char target[PATH_MAX];
        const ssize_t length = calls_.readLinkAt(AT_FDCWD, resolved, target, sizeof target);
        if (length < 0 || static_cast<std::size_t>(length) == sizeof target) { // no link, or nothing at all
            folderPath_ = folderOf(resolved);
            name_ = nameOf(resolved);
            return;
        }
        const std::string next(target, static_cast<std::size_t>(length));
        resolved = next.rfind('/', 0) == 0 ? next : folderOf(resolved).append("/").append(next);
    }
    errno = ELOOP;
    failStep("symbolic link");
}

std::optional<struct stat> FileReplacement::presentFile()
{
    struct stat status { };
    if (calls_.statAt(folder_.descriptor, name_, status, AT_SYMLINK_NOFOLLOW) == 0)
        return status;
    if (errno != ENOENT)
        failStep("old file");
    return std::nullopt;
}

void FileReplacement::write(const NSData& data)
{
    makeNewFile();
    writeAll(calls_, descriptor_, data);
    takeOverMetadata();
    if (!syncToItsEnd(calls_, descriptor_))
        failStep("sync");
    if (calls_.statOf(descriptor_, newFile_) != 0)
        failStep("status");
}

void FileReplacement::makeNewFile()
{
    removeLeftoverFiles(calls_, folder_.descriptor, name_);
    std::string name = temporaryName(name_);
    descriptor_ = makeTemporaryFile(calls_, folder_.descriptor, name);
    newName_ = std::move(name); // a copy could lack memory, and the file be left
}

void FileReplacement::takeOverMetadata()
{
    if (!oldFile_)
        return;
    const int oldDescriptor
        = calls_.openAt(folder_.descriptor, name_, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0);
    copyFileMetadata(calls_, *oldFile_, oldDescriptor, descriptor_);
    if (oldDescriptor >= 0)
        calls_.close(oldDescriptor);
}

void FileReplacement::commit()
{
    throwIfInterrupted();
    if (calls_.renameAt(folder_.descriptor, newName_, name_) != 0)
        failStep("replace");
    committed_ = true;
}

void FileReplacement::commitKeepingOld(const std::function<void()>& lastLook)
{
    markOldFile();
    if (exchange())
        return;
    keepUnderFurtherName();
    lastLook();
    if (calls_.renameAt(folder_.descriptor, newName_, name_) != 0)
        failStep("replace");
    committed_ = true;
}

/// So that nobody takes it for a left-over. Where that isn't known, nothing counts as one.
void FileReplacement::markOldFile()
{
    oldDescriptor_ = calls_.openAt(folder_.descriptor, name_, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0);
    if (oldDescriptor_ >= 0)
        calls_.markInUse(oldDescriptor_);
}

/// False where the file system has no such thing. The old file has the new one's name then, and goes with this object.
bool FileReplacement::exchange()
{
    exchanged_ = calls_.exchangeAt(folder_.descriptor, newName_, name_) == 0;
    if (!exchanged_ && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        failStep("replace");
    return exchanged_;
}

void FileReplacement::keepUnderFurtherName()
{
    std::string name = temporaryName(name_);
    keptAsCopy_ = calls_.linkAt(folder_.descriptor, name_, name) != 0;
    if (keptAsCopy_) // FAT and its like
        copyFile(calls_, folderPath_ + "/" + name_, folderPath_ + "/" + name);
    keptName_ = std::move(name);
}

std::optional<struct stat> FileReplacement::replacedFile()
{
    struct stat status { };
    if (keptAsCopy_)
        return std::nullopt;
    if (calls_.statAt(folder_.descriptor, exchanged_ ? newName_ : keptName_, status, AT_SYMLINK_NOFOLLOW) != 0)
        failStep("replaced file");
    return status;
}

void FileReplacement::takeBack()
{
    const std::optional<struct stat> present = presentFile();
    if (!present || !isNew(*present))
        throw FileSystemFailure { kReplacedSince, /*isReplaced=*/true };
    takeBackOld();
    exchanged_ = false;
    keptName_.clear();
}

/// What somebody else has put there in the last moment is not taken away.
void FileReplacement::takeBackOld()
{
    const int result = exchanged_ ? calls_.exchangeAt(folder_.descriptor, newName_, name_)
                                  : calls_.renameAt(folder_.descriptor, keptName_, name_);
    if (result != 0)
        failStep("put back");
    struct stat taken { };
    if (!exchanged_ || calls_.statAt(folder_.descriptor, newName_, taken, AT_SYMLINK_NOFOLLOW) != 0 || isNew(taken))
        return;
    if (calls_.exchangeAt(folder_.descriptor, newName_, name_) != 0)
        failStep("put back what somebody else has written since");
    throw FileSystemFailure { kReplacedSince, /*isReplaced=*/true };
}

void FileReplacement::commitToFreeName()
{
    throwIfInterrupted();
    if (!renameToFreeName(calls_, folder_.descriptor, newName_, name_))
        failStep("name");
    committed_ = true;
}

void FileReplacement::syncFolder()
{
    if (!::syncFolder(calls_, folder_))
        throw FileSystemFailure { std::string("the folder can't be synced: ") + std::strerror(errno),
            /*isReplaced=*/true };
}
