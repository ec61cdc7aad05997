#pragma once

#include "FileSteps.h"
#include "NSData.h"

#include <optional>
#include <string>

/// One replacement of one file, step by step. Ending it before `commit` leaves the old file and nothing else.
class FileReplacement {
public:
    /// Follows symbolic links to the file that they mean, and opens its folder.
    /// Raises: FileSystemFailure, as every operation does.
    FileReplacement(FileSystemCalls& calls, const std::string& path);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// The file that is there now, if any.
    const std::optional<struct stat>& oldFile() const { return oldFile_; }

    /// Writes and syncs the new file. Throws Interrupted.
    void write(const NSData& data);

    /// The file that is there at this moment, if any: it may have changed since `oldFile`. One that can't be looked at
    /// is a failure, and not none.
    std::optional<struct stat> presentFile();

    /// Puts the new file in the old one's place. Throws Interrupted, before it does.
    void commit();

    /// The same for a file that must not be there yet; one that is stays, and it is a failure.
    void commitToFreeName();

    /// After `commit`: makes the replacement last, should the system crash.
    void syncFolder();

    /// Of the new file, for whoever wants to recognise it.
    struct stat newFile() const { return newFile_; }

private:
    explicit FileReplacement(FileSystemCalls& calls) : calls_(calls) { }

    void resolveLinks(const std::string& path);
    void makeNewFile();
    void takeOverMetadata();

    FileSystemCalls& calls_;
    std::string folderPath_;
    std::string name_;
    std::string newName_; // empty while there is no new file
    OpenFolder folder_;
    int descriptor_ = -1;
    bool committed_ = false;
    std::optional<struct stat> oldFile_;
    struct stat newFile_ {};
};
