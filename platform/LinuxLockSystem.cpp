#include "NSDistributedLock.h"

#include "FileSteps.h"
#include "FileSystemCalls.h"
#include "Leftovers.h"
#include "LockHolder.h"

#include <cerrno>
#include <new>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Identity {
    dev_t device = 0;
    ino_t file = 0;

    bool operator==(const Identity&) const = default;
};

/// What stands in it is best effort.
void writeNote(FileSystemCalls& calls, int file)
{
    try {
        const std::string note = noteOfThisProcess();
        calls.write(file, note.data(), note.size());
    } catch (const std::bad_alloc&) {
        return; // an empty one does as well
    }
}

class LinuxLock final : public NSDistributedLock {
public:
    LinuxLock(FileSystemCalls& calls, const std::string& path)
        : calls_(calls)
        , path_(path)
        , aside_(pathAside(path))
    {
    }
    ~LinuxLock() override { letGo(); }

    bool tryLock() override
    {
        if (calls_.makeFolderAt(AT_FDCWD, path_, 0755) != 0)
            return false;
        letGo();
        if (takeFolder()) {
            removeLeftovers();
            return true;
        }
        if (errno != ENOENT && errno != EEXIST) // neither broken nor another's: a lock that nobody would hold
            removeFolder(path_); // one with a note in it, which somebody has taken by now, is not empty and stays
        letGo();
        return false;
    }

    void unlock() override
    {
        if (held_ && identityOf(path_) == held_)
            takeAway(held_);
        letGo();
    }

    void breakLock() override { takeAway(std::nullopt); }

private:
    /// Looks again where it can't look: one look that fails would leave a lock behind that nobody holds.
    std::optional<Identity> identityOf(const std::string& path)
    {
        struct stat status { };
        const auto look = [&] { return calls_.statAt(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW) == 0; };
        if (look() || (errno != ENOENT && look()))
            return Identity { status.st_dev, status.st_ino };
        return std::nullopt;
    }

    std::optional<Identity> identityOf(int descriptor)
    {
        struct stat status { };
        if (calls_.statOf(descriptor, status) != 0)
            return std::nullopt;
        return Identity { status.st_dev, status.st_ino };
    }

    /// Since it was made, the folder may have been broken, and another made in its place. Whoever makes the note in the
    /// folder that stands there holds the lock, and nobody else: the note is made once. False with errno.
    bool takeFolder()
    {
        // The open descriptor keeps the folder's number from being given to another while this object lives.
        folder_ = calls_.openAt(AT_FDCWD, path_, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0);
        if (folder_ < 0)
            return false;
        calls_.markInUse(folder_); // while it is held, and aside, it is no left-over
        held_ = identityOf(folder_);
        if (!held_ || !makeNote())
            return false;
        const std::optional<Identity> standing = identityOf(path_);
        if (standing == held_)
            return true;
        const int reason = standing ? ENOENT : errno;
        calls_.unlinkAt(folder_, kLockNote); // the folder was being removed, and its old note was gone already
        errno = reason;
        return false;
    }

    /// False if it is there already, or can't be made.
    bool makeNote()
    {
        const StDescriptor file(
            calls_, calls_.openAt(folder_, kLockNote, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
        if (file.value < 0)
            return false;
        writeNote(calls_, file.value);
        return true;
    }

    /// One rename is the moment at which the lock is gone; what is left of it is removed in peace. If another program
    /// has broken and taken the lock between the look and the rename, that program gets it back.
    void takeAway(const std::optional<Identity>& expected)
    {
        if (calls_.renameAt(AT_FDCWD, path_, aside_) != 0) {
            // The longer name may not fit, or the renaming failed just now: then where it stands, in several strokes.
            if (errno != ENOENT && (!expected || identityOf(path_) == expected))
                removeLockObject(path_);
            return;
        }
        if (expected && identityOf(aside_) != expected)
            calls_.renameAt(AT_FDCWD, aside_, path_);
        else
            removeLockObject(aside_);
    }

    void removeLockObject(const std::string& path)
    {
        if (calls_.unlinkAt(AT_FDCWD, path) == 0) // another program's lock may be a plain file
            return;
        const StDescriptor folder(
            calls_, calls_.openAt(AT_FDCWD, path, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
        if (folder.value >= 0)
            calls_.unlinkAt(folder.value, kLockNote);
        removeFolder(path);
    }

    void removeLeftovers()
    {
        try {
            removeLeftoverLocks(calls_, path_);
        } catch (const std::bad_alloc&) {
            return; // another time
        }
    }

    void removeFolder(const std::string& path) { calls_.removeFolderAt(AT_FDCWD, path); }

    void letGo()
    {
        if (folder_ >= 0)
            calls_.close(folder_);
        folder_ = -1;
        held_.reset();
    }

    FileSystemCalls& calls_;
    const std::string path_;
    const std::string aside_; // made here, so that nothing that gives back a lock can lack memory
    int folder_ = -1;
    std::optional<Identity> held_;
};

} // namespace

LinuxLockSystem::LinuxLockSystem()
{
    static_cast<void>(noteOfThisProcess());
}

std::unique_ptr<NSDistributedLock> LinuxLockSystem::lockWithPath(const std::string& path)
{
    return std::make_unique<LinuxLock>(fileSystemCalls(), path);
}
