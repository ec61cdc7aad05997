#include "NSFileItems.h"

#include "FileCopy.h"
#include "FileSystemCalls.h"

#include <fcntl.h>
#include <sys/statvfs.h>

LinuxFileItems::LinuxFileItems()
    : calls_(fileSystemCalls())
{
}

LinuxFileItems::LinuxFileItems(FileSystemCalls& calls)
    : calls_(calls)
{
}

bool LinuxFileItems::fileExistsAtPath(const std::string& path)
{
    struct stat status { };
    return calls_.statAt(AT_FDCWD, path, status, 0) == 0;
}

FileSystemAttributes LinuxFileItems::attributesOfFileSystemForPath(const std::string& path)
{
    struct statvfs volume { };
    if (::statvfs(path.c_str(), &volume) != 0)
        return {};
    const auto unit = static_cast<double>(volume.f_frsize);
    return {
        { NSFileSystemSize, unit * static_cast<double>(volume.f_blocks) },
        { NSFileSystemFreeSize, unit * static_cast<double>(volume.f_bavail) },
    };
}

bool LinuxFileItems::removeItemAtPath(const std::string& path)
{
    return calls_.unlinkAt(AT_FDCWD, path) == 0;
}

bool LinuxFileItems::copyItemAtPath(const std::string& path, const std::string& toPath)
{
    try {
        copyFile(calls_, path, toPath);
        return true;
    } catch (const FileSystemFailure&) {
        return false;
    }
}
