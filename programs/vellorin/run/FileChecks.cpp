#include "FileChecks.h"

#include "DocumentLock.h"
#include "ExitStatus.h"
#include "FilePaths.h"
#include "FileSteps.h"
#include "FileSystemCalls.h"
#include "NSPathUtilities.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr char kLongestBackupWord[] = " backup 100";

[[noreturn]] void fail(ExitStatus status, const std::string& path, const std::string& reason)
{
    throw CommandFailure(status, path + ": " + reason + "; no file was changed");
}

struct stat statusOf(const std::string& path)
{
    struct stat status { };
    if (fileSystemCalls().statAt(AT_FDCWD, path, status, 0) != 0)
        fail(kFailed, path, std::strerror(errno));
    if (!S_ISREG(status.st_mode))
        fail(kFailed, path, "is no regular file");
    return status;
}

/// The file system itself knows how long a name may be.
bool isTooLong(const std::string& path)
{
    struct stat status { };
    return fileSystemCalls().statAt(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENAMETOOLONG;
}

std::string longestBackupName(const std::string& path)
{
    const std::string extension = pathExtension(path);
    return stringByDeletingPathExtension(path) + kLongestBackupWord + (extension.empty() ? "" : "." + extension);
}

void expectWritableFolder(const std::string& path, const std::string& file)
{
    const std::string folder = folderOf(file);
    if (fileSystemCalls().accessAt(AT_FDCWD, folder, W_OK | X_OK) != 0)
        fail(kFailed, path, "its folder " + folder + " can't be written: " + std::strerror(errno));
}

} // namespace

void FileChecks::operator()(const std::vector<std::string>& paths) const
{
    std::vector<struct stat> seen;
    for (const std::string& path : paths) {
        const struct stat status = statusOf(path);
        for (std::size_t i = 0; i < seen.size(); ++i) {
            if (seen[i].st_dev == status.st_dev && seen[i].st_ino == status.st_ino)
                fail(kRefused, path, "is the same file as " + paths[i]);
        }
        seen.push_back(status);
    }
    if (!areReplaced)
        return;
    for (const std::string& path : paths) {
        const std::string file = absolutePath(path);
        if (isTooLong(*DocumentLock::lockPath(file)))
            fail(kRefused, path, "its name is too long to carry a lock: one more character must fit");
        if (getBackups && isTooLong(longestBackupName(file)))
            fail(kRefused, path, "its name is too long for a numbered backup; shorten it, or use --no-backup");
        expectWritableFolder(path, file);
    }
}
