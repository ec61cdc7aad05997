#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

/// The system calls that reading, replacing and locking files is made of, each as the system defines it: -1 and errno
/// on failure. A program that wants to see what a full disk does puts another implementation in place.
class FileSystemCalls {
public:
    virtual ~FileSystemCalls() = default;

    virtual int openAt(int folder, const std::string& name, int flags, mode_t mode);
    virtual int close(int descriptor);
    virtual ssize_t read(int descriptor, void* bytes, std::size_t count);
    virtual ssize_t write(int descriptor, const void* bytes, std::size_t count);
    virtual int sync(int descriptor);

    /// Asks for these bytes of a file to be on their way to the disk while others are still written, so that a later
    /// sync has less to wait for. It promises nothing, and nobody is told whether it did anything.
    virtual void beginSync(int descriptor, off_t offset, std::size_t count);
    virtual int statAt(int folder, const std::string& name, struct stat& status, int flags);
    virtual int statOf(int descriptor, struct stat& status);
    virtual int renameAt(int folder, const std::string& from, const std::string& to);
    virtual int unlinkAt(int folder, const std::string& name);
    virtual int changeMode(int descriptor, mode_t mode);
    virtual int changeOwner(int descriptor, uid_t owner, gid_t group);
    virtual ssize_t readLinkAt(int folder, const std::string& name, char* target, std::size_t size);
    virtual ssize_t listAttributes(int descriptor, char* names, std::size_t size);
    virtual ssize_t getAttribute(int descriptor, const char* name, void* value, std::size_t size);
    virtual int setAttribute(int descriptor, const char* name, const void* value, std::size_t size);
    virtual int removeAttribute(int descriptor, const char* name);

    // By path, with links followed
    virtual ssize_t getPathAttribute(const std::string& path, const char* name, void* value, std::size_t size);
    virtual int setPathAttribute(const std::string& path, const char* name, const void* value, std::size_t size);

    // Folders
    virtual int makeFolderAt(int folder, const std::string& name, mode_t mode);
    virtual int removeFolderAt(int folder, const std::string& name);
    virtual int namesIn(int folder, std::vector<std::string>& names); // without those of the folder and its parent

    /// Marks a file or folder as in use for as long as the descriptor is open, or its process lives. Fails at once if
    /// another descriptor has marked it.
    virtual int markInUse(int descriptor);

    // What copying needs beyond that

    /// Makes the whole of one file share the content of another; an error where the file system has no such thing.
    virtual int clone(int from, int to);
    virtual int setTimes(int descriptor, const struct timespec& accessed, const struct timespec& modified);

    /// Fails with EEXIST where the new name is taken.
    virtual int renameToFreeNameAt(int folder, const std::string& from, const std::string& to);
    virtual int linkAt(int folder, const std::string& from, const std::string& to);

    /// Two names of one folder change places at one stroke; an error where the file system has no such thing.
    virtual int exchangeAt(int folder, const std::string& one, const std::string& other);

    /// Whether this user may do what `mode` says (W_OK and the like), were it tried.
    virtual int accessAt(int folder, const std::string& name, int mode);
};

/// The implementation of all services that are not given another one.
FileSystemCalls& fileSystemCalls();

/// Puts another implementation in place for services that are made from now on, and returns the one before. It must
/// outlive them.
FileSystemCalls& setFileSystemCalls(FileSystemCalls& calls);
