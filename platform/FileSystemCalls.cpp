#include "FileSystemCalls.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

struct FolderClosing {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

FileSystemCalls gSystem;
FileSystemCalls* gInUse = &gSystem;

} // namespace

FileSystemCalls& fileSystemCalls()
{
    return *gInUse;
}

FileSystemCalls& setFileSystemCalls(FileSystemCalls& calls)
{
    FileSystemCalls& before = *gInUse;
    gInUse = &calls;
    return before;
}

int FileSystemCalls::openAt(int folder, const std::string& name, int flags, mode_t mode)
{
    return ::openat(folder, name.c_str(), flags, mode);
}

int FileSystemCalls::close(int descriptor)
{
    return ::close(descriptor);
}

ssize_t FileSystemCalls::read(int descriptor, void* bytes, std::size_t count)
{
    return ::read(descriptor, bytes, count);
}

ssize_t FileSystemCalls::write(int descriptor, const void* bytes, std::size_t count)
{
    return ::write(descriptor, bytes, count);
}

int FileSystemCalls::sync(int descriptor)
{
    return ::fsync(descriptor);
}

void FileSystemCalls::beginSync(int descriptor, off_t offset, std::size_t count)
{
    ::sync_file_range(descriptor, offset, static_cast<off_t>(count), SYNC_FILE_RANGE_WRITE);
}

int FileSystemCalls::statAt(int folder, const std::string& name, struct stat& status, int flags)
{
    return ::fstatat(folder, name.c_str(), &status, flags);
}

int FileSystemCalls::statOf(int descriptor, struct stat& status)
{
    return ::fstat(descriptor, &status);
}

int FileSystemCalls::renameAt(int folder, const std::string& from, const std::string& to)
{
    return ::renameat(folder, from.c_str(), folder, to.c_str());
}

int FileSystemCalls::unlinkAt(int folder, const std::string& name)
{
    return ::unlinkat(folder, name.c_str(), 0);
}

int FileSystemCalls::changeMode(int descriptor, mode_t mode)
{
    return ::fchmod(descriptor, mode);
}

int FileSystemCalls::changeOwner(int descriptor, uid_t owner, gid_t group)
{
    return ::fchown(descriptor, owner, group);
}

ssize_t FileSystemCalls::readLinkAt(int folder, const std::string& name, char* target, std::size_t size)
{
    return ::readlinkat(folder, name.c_str(), target, size);
}

ssize_t FileSystemCalls::listAttributes(int descriptor, char* names, std::size_t size)
{
    return ::flistxattr(descriptor, names, size);
}

ssize_t FileSystemCalls::getAttribute(int descriptor, const char* name, void* value, std::size_t size)
{
    return ::fgetxattr(descriptor, name, value, size);
}

int FileSystemCalls::setAttribute(int descriptor, const char* name, const void* value, std::size_t size)
{
    return ::fsetxattr(descriptor, name, value, size, 0);
}

int FileSystemCalls::removeAttribute(int descriptor, const char* name)
{
    return ::fremovexattr(descriptor, name);
}

ssize_t FileSystemCalls::getPathAttribute(const std::string& path, const char* name, void* value, std::size_t size)
{
    return ::getxattr(path.c_str(), name, value, size);
}

int FileSystemCalls::setPathAttribute(const std::string& path, const char* name, const void* value, std::size_t size)
{
    return ::setxattr(path.c_str(), name, value, size, 0);
}

int FileSystemCalls::makeFolderAt(int folder, const std::string& name, mode_t mode)
{
    return ::mkdirat(folder, name.c_str(), mode);
}

int FileSystemCalls::removeFolderAt(int folder, const std::string& name)
{
    return ::unlinkat(folder, name.c_str(), AT_REMOVEDIR);
}

namespace {

/// A look at the names leaves no trace where the system allows it, which is in one's own folders. A new time of access
/// would have to go to the disk when the folder is synced.
int openForNames(int folder)
{
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    const int own = ::openat(folder, ".", kFlags | O_NOATIME);
    // cppcheck-suppress resourceLeak ; the caller closes it
    return own < 0 && errno == EPERM ? ::openat(folder, ".", kFlags) : own;
}

} // namespace

int FileSystemCalls::namesIn(int folder, std::vector<std::string>& names)
{
    const int own = openForNames(folder); // a reader closes what it reads
    if (own < 0)
        return -1;
    const std::unique_ptr<DIR, FolderClosing> reader(::fdopendir(own));
    if (!reader) {
        ::close(own);
        return -1;
    }
    errno = 0;
    while (const dirent* const entry = ::readdir(reader.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    return errno == 0 ? 0 : -1;
}

int FileSystemCalls::markInUse(int descriptor)
{
    return ::flock(descriptor, LOCK_EX | LOCK_NB);
}

int FileSystemCalls::clone(int from, int to)
{
    return ::ioctl(to, FICLONE, from);
}

int FileSystemCalls::setTimes(int descriptor, const struct timespec& accessed, const struct timespec& modified)
{
    const struct timespec times[] = { accessed, modified };
    return ::futimens(descriptor, times);
}

int FileSystemCalls::renameToFreeNameAt(int folder, const std::string& from, const std::string& to)
{
    return ::renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE);
}

int FileSystemCalls::linkAt(int folder, const std::string& from, const std::string& to)
{
    return ::linkat(folder, from.c_str(), folder, to.c_str(), 0);
}

int FileSystemCalls::exchangeAt(int folder, const std::string& one, const std::string& other)
{
    return ::renameat2(folder, one.c_str(), folder, other.c_str(), RENAME_EXCHANGE);
}

int FileSystemCalls::accessAt(int folder, const std::string& name, int mode)
{
    return ::faccessat(folder, name.c_str(), mode, AT_EACCESS);
}
