#pragma once

#include <map>
#include <string>

class FileSystemCalls;

/// The attributes of a volume: numbers under the platform's names.
using FileSystemAttributes = std::map<std::string, double>;

inline constexpr char NSFileSystemSize[] = "NSFileSystemSize"; // bytes
inline constexpr char NSFileSystemFreeSize[] = "NSFileSystemFreeSize"; // bytes that this user may take
inline constexpr char NSFileModificationDate[] = "NSFileModificationDate"; // an attribute of files; no volume has it

/// The part of the platform's file manager that works on whole files without looking into them.
class NSFileItems {
public:
    virtual ~NSFileItems() = default;

    /// A link exists if what it leads to does.
    virtual bool fileExistsAtPath(const std::string& path) = 0;

    /// Of the volume that holds a path; empty if they can't be had.
    virtual FileSystemAttributes attributesOfFileSystemForPath(const std::string& path) = 0;

    /// Deletes a file, but no folder. False if that failed.
    virtual bool removeItemAtPath(const std::string& path) = 0;

    /// Copies a file with its metadata to a path where nothing is. False if that failed; then nothing is left of it.
    virtual bool copyItemAtPath(const std::string& path, const std::string& toPath) = 0;
};

/// Files of the Linux file system. A copy never replaces anything, and is complete on disk before it is reported; see
/// FileCopy.h. Its operations throw Interrupted when a signal comes, and leave nothing half done.
class LinuxFileItems final : public NSFileItems {
public:
    LinuxFileItems();

    /// `calls` must outlive the object.
    explicit LinuxFileItems(FileSystemCalls& calls);

    bool fileExistsAtPath(const std::string& path) override;
    FileSystemAttributes attributesOfFileSystemForPath(const std::string& path) override;
    bool removeItemAtPath(const std::string& path) override;
    bool copyItemAtPath(const std::string& path, const std::string& toPath) override;

private:
    FileSystemCalls& calls_;
};
