#pragma once

#include "FileSystemCalls.h"

#include <cerrno>
#include <functional>

/// System calls in front of others, which count them and let one of them, or all from one on, fail in a chosen way.
class FaultyCalls final : public FileSystemCalls {
public:
    enum class Kind {
        None,
        Fails, // with the error; what is closed is closed all the same
        Short, // a write or read takes half of what it is given
        Kills // the process ends before the call, with kKilled
    };

    struct Fault {
        Kind kind = Kind::None;
        std::size_t at = 0; // number of the call, from 0
        bool fromThenOn = false; // with EINTR every second call, as nothing could end otherwise
        int error = 0;
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

    std::function<void()> beforeEachCall;

    int openAt(int folder, const std::string& name, int flags, mode_t mode) override;
    int close(int descriptor) override;
    ssize_t read(int descriptor, void* bytes, std::size_t count) override;
    ssize_t write(int descriptor, const void* bytes, std::size_t count) override;
    int sync(int descriptor) override;
    void beginSync(int descriptor, off_t offset, std::size_t count) override
    {
        inner.beginSync(descriptor, offset, count);
    }
    int statAt(int folder, const std::string& name, struct stat& status, int flags) override;
    int statOf(int descriptor, struct stat& status) override;
    int renameAt(int folder, const std::string& from, const std::string& to) override;
    int unlinkAt(int folder, const std::string& name) override;
    int changeMode(int descriptor, mode_t mode) override;
    int changeOwner(int descriptor, uid_t owner, gid_t group) override;
    ssize_t readLinkAt(int folder, const std::string& name, char* target, std::size_t size) override;
    ssize_t listAttributes(int descriptor, char* names, std::size_t size) override;
    ssize_t getAttribute(int descriptor, const char* name, void* value, std::size_t size) override;
    int setAttribute(int descriptor, const char* name, const void* value, std::size_t size) override;
    int removeAttribute(int descriptor, const char* name) override;
    ssize_t getPathAttribute(const std::string& path, const char* name, void* value, std::size_t size) override;
    int setPathAttribute(const std::string& path, const char* name, const void* value, std::size_t size) override;
    int makeFolderAt(int folder, const std::string& name, mode_t mode) override;
    int removeFolderAt(int folder, const std::string& name) override;
    int namesIn(int folder, std::vector<std::string>& names) override;
    int markInUse(int descriptor) override;
    int clone(int from, int to) override;
    int setTimes(int descriptor, const struct timespec& accessed, const struct timespec& modified) override;
    int renameToFreeNameAt(int folder, const std::string& from, const std::string& to) override;
    int linkAt(int folder, const std::string& from, const std::string& to) override;
    int exchangeAt(int folder, const std::string& one, const std::string& other) override;
    int accessAt(int folder, const std::string& name, int mode) override;

private:
    bool isDue();
    bool fails();
    std::size_t shortened(std::size_t count);

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
