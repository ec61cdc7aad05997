#pragma once

#include "FileSystemCalls.h"

#include <cerrno>
#include <functional>
#include <set>

#include <fcntl.h>

/// System calls in front of others, which count them and let one of them, or all from one on, fail in a chosen way.
class FaultyCalls final : public FileSystemCalls {
public:
    enum class Kind {
        None,
        Fails, // with the error; what is closed is closed all the same
        Short, // a write or read takes half of what it is given
        Empty, // a write takes nothing
        Kills // the process ends before the call, with kKilled
    };

    /// Those that a test picks out by what they do, and all others.
    enum class Call {
        Other,
        Make, // the opening of a new file
        Open,
        Read,
        Write,
        Sync,
        FolderSync,
        Rename,
        Look,
        Stat,
        Mode,
        Owner,
        Attributes,
        Name, // a renaming to a free name
        Link
    };

    struct Fault {
        Kind kind = Kind::None;
        std::size_t at = 0; // number of the call, from 0
        bool fromThenOn = false; // with EINTR every second call, as nothing could end otherwise
        int error = 0;
        std::set<Call> among = {}; // only these are counted; without any, all are
    };

    static constexpr int kKilled = 99;

    /// `inner` must outlive the object.
    explicit FaultyCalls(FileSystemCalls& inner)
        : inner(inner)
    {
    }

    void set(const Fault& newFault);
    std::size_t count() const { return calls; }
    bool hasStruck() const { return struck; }

    std::function<void(Call)> beforeEachCall;

    int close(int descriptor) override;
    ssize_t read(int descriptor, void* bytes, std::size_t count) override;
    ssize_t write(int descriptor, const void* bytes, std::size_t count) override;
    int sync(int descriptor) override;
    void beginSync(int descriptor, off_t offset, std::size_t count) override
    {
        inner.beginSync(descriptor, offset, count);
    }
    int openAt(int folder, const std::string& name, int flags, mode_t mode) override
    {
        return fails((flags & O_CREAT) != 0 ? Call::Make : Call::Open) ? -1 : inner.openAt(folder, name, flags, mode);
    }
    int statAt(int folder, const std::string& name, struct stat& status, int flags) override
    {
        return fails(Call::Look) ? -1 : inner.statAt(folder, name, status, flags);
    }
    int statOf(int descriptor, struct stat& status) override
    {
        return fails(Call::Stat) ? -1 : inner.statOf(descriptor, status);
    }
    int renameAt(int folder, const std::string& from, const std::string& to) override
    {
        return fails(Call::Rename) ? -1 : inner.renameAt(folder, from, to);
    }
    int unlinkAt(int folder, const std::string& name) override { return fails() ? -1 : inner.unlinkAt(folder, name); }
    int changeMode(int descriptor, mode_t mode) override
    {
        return fails(Call::Mode) ? -1 : inner.changeMode(descriptor, mode);
    }
    int changeOwner(int descriptor, uid_t owner, gid_t group) override
    {
        return fails(Call::Owner) ? -1 : inner.changeOwner(descriptor, owner, group);
    }
    ssize_t readLinkAt(int folder, const std::string& name, char* target, std::size_t size) override
    {
        return fails() ? -1 : inner.readLinkAt(folder, name, target, size);
    }
    ssize_t listAttributes(int descriptor, char* names, std::size_t size) override
    {
        return fails(Call::Attributes) ? -1 : inner.listAttributes(descriptor, names, size);
    }
    ssize_t getAttribute(int descriptor, const char* name, void* value, std::size_t size) override
    {
        return fails() ? -1 : inner.getAttribute(descriptor, name, value, size);
    }
    int setAttribute(int descriptor, const char* name, const void* value, std::size_t size) override
    {
        return fails() ? -1 : inner.setAttribute(descriptor, name, value, size);
    }
    int removeAttribute(int descriptor, const char* name) override
    {
        return fails() ? -1 : inner.removeAttribute(descriptor, name);
    }
    ssize_t getPathAttribute(const std::string& path, const char* name, void* value, std::size_t size) override
    {
        return fails() ? -1 : inner.getPathAttribute(path, name, value, size);
    }
    int setPathAttribute(const std::string& path, const char* name, const void* value, std::size_t size) override
    {
        return fails() ? -1 : inner.setPathAttribute(path, name, value, size);
    }
    int makeFolderAt(int folder, const std::string& name, mode_t mode) override
    {
        return fails() ? -1 : inner.makeFolderAt(folder, name, mode);
    }
    int removeFolderAt(int folder, const std::string& name) override
    {
        return fails() ? -1 : inner.removeFolderAt(folder, name);
    }
    int namesIn(int folder, std::vector<std::string>& names) override
    {
        return fails() ? -1 : inner.namesIn(folder, names);
    }
    int markInUse(int descriptor) override { return fails() ? -1 : inner.markInUse(descriptor); }
    int clone(int from, int to) override { return fails() ? -1 : inner.clone(from, to); }
    int setTimes(int descriptor, const struct timespec& accessed, const struct timespec& modified) override
    {
        return fails() ? -1 : inner.setTimes(descriptor, accessed, modified);
    }
    int renameToFreeNameAt(int folder, const std::string& from, const std::string& to) override
    {
        return fails(Call::Name) ? -1 : inner.renameToFreeNameAt(folder, from, to);
    }
    int linkAt(int folder, const std::string& from, const std::string& to) override
    {
        return fails(Call::Link) ? -1 : inner.linkAt(folder, from, to);
    }
    int exchangeAt(int folder, const std::string& one, const std::string& other) override
    {
        return fails() ? -1 : inner.exchangeAt(folder, one, other);
    }
    int accessAt(int folder, const std::string& name, int mode) override
    {
        return fails() ? -1 : inner.accessAt(folder, name, mode);
    }

private:
    bool isDue(Call call);
    bool fails(Call call = Call::Other);
    std::size_t shortened(Call call, std::size_t count);

    FileSystemCalls& inner;
    Fault fault;
    std::size_t calls = 0;
    bool struck = false;
};

/// The real file system without the waiting for its disk, where no crash of the system is in play.
class UnsyncedCalls final : public FileSystemCalls {
public:
    int sync(int) override { return 0; }
    void beginSync(int, off_t, std::size_t) override { }
    int renameToFreeNameAt(int folder, const std::string& from, const std::string& to) override
    {
        errno = EINVAL;
        return knowsRenamingToFreeNames ? FileSystemCalls::renameToFreeNameAt(folder, from, to) : -1;
    }

    bool knowsRenamingToFreeNames = true;
};

/// An implementation in place of the system's for a scope.
class StFileSystemCalls {
public:
    explicit StFileSystemCalls(FileSystemCalls& calls)
        : before(setFileSystemCalls(calls))
    {
    }
    ~StFileSystemCalls() { setFileSystemCalls(before); }
    StFileSystemCalls(const StFileSystemCalls&) = delete;
    StFileSystemCalls& operator=(const StFileSystemCalls&) = delete;

private:
    FileSystemCalls& before;
};
