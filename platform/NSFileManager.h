#pragma once

#include "NSData.h"

#include <map>
#include <optional>
#include <string>

class FileSystemCalls;
struct stat;

/// Whole files: whether they exist, their contents, and their replacement.
class NSFileManager {
public:
    virtual ~NSFileManager() = default;

    virtual bool fileExistsAtPath(const std::string& path) = 0;

    /// All bytes of a file, or nothing when it can't be read.
    virtual std::optional<NSData> dataWithContentsOfFile(const std::string& path) = 0;

    /// Replaces a whole file, so that a crash leaves the old or the new contents. False if that failed, with the reason
    /// in words where there is a place for it: the old one stands, or the reason says that it is replaced all the same.
    virtual bool writeToFile(const NSData& data, const std::string& path, std::string* reason = nullptr) = 0;
};

/// Files of the Linux file system.
///
/// Only regular files are read, so that no pipe or device can hang the program or fill its memory, and none that is
/// larger than a memory block can be. A replacement is written beside the file, as nobody else can read it, synced,
/// given the old file's mode, owner, access list and attributes as far as permitted (less access, never more), and
/// renamed over it; the folder is synced. A symbolic link stays and its target is replaced. Nothing is left over on a
/// failure, and what a killed program has left of an earlier replacement of the same file is removed (Leftovers.h). A
/// file that another program has changed since it was read here is not replaced.
class LinuxFileManager final : public NSFileManager {
public:
    LinuxFileManager();

    /// `calls` must outlive the object.
    explicit LinuxFileManager(FileSystemCalls& calls);

    bool fileExistsAtPath(const std::string& path) override;
    std::optional<NSData> dataWithContentsOfFile(const std::string& path) override;

    /// Throws Interrupted, with the old file in place and nothing left over, if a signal comes before the replacement.
    bool writeToFile(const NSData& data, const std::string& path, std::string* reason = nullptr) override;

    /// Whether this is the status of the file at `path` as it was last read here.
    bool isAsRead(const std::string& path, const struct stat& status) const;

    static constexpr char kChangedSinceRead[] = "the file has changed since it was read";

private:
    /// By what a file is recognised as the one that was read, with the content that was read.
    struct Stamp {
        explicit Stamp(const struct stat& status);
        bool operator==(const Stamp&) const = default;

        uint64_t device;
        uint64_t file;
        int64_t size;
        int64_t modifiedSeconds;
        int64_t modifiedNanoseconds;
    };

    FileSystemCalls& calls_;
    std::map<std::string, Stamp> readStamps_;
};
