#pragma once

#include "FileSteps.h"
#include "NSData.h"

#include <functional>
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

    /// Replaces like `commit`, and keeps the old file beside the new one, for a way back, until this object ends. Where
    /// the file system can, both change places at one stroke; else the old one is kept under a further name, or as a
    /// copy. Where that takes more than one step, `lastLook` is called before the last; it may raise to end it. Throws
    /// Interrupted only while the old file is copied.
    void commitKeepingOld(const std::function<void()>& lastLook);

    /// Behind `commitKeepingOld`: what was replaced, whatever stood there a moment before; absent if only a copy of it
    /// was kept.
    std::optional<struct stat> replacedFile();

    /// Puts the old file that was kept back into its place, and takes the new one away. Fails if the new one doesn't
    /// stand there any more.
    void takeBack();

    /// The same for a file that must not be there yet; one that is stays, and it is a failure.
    void commitToFreeName();

    /// After `commit`: makes the replacement last, should the system crash.
    void syncFolder();

    /// Where the new file lies until it takes its place.
    std::string newPath() const { return folderPath_ + "/" + newName_; }

    /// Of the new file, for whoever wants to recognise it.
    struct stat newFile() const { return newFile_; }

private:
    explicit FileReplacement(FileSystemCalls& calls)
        : calls_(calls)
    {
    }

    void resolveLinks(const std::string& path);
    void makeNewFile();
    void takeOverMetadata();
    void markOldFile();
    bool exchange();
    void keepUnderFurtherName();
    void takeBackOld();
    bool isNew(const struct stat& file) const
    {
        return file.st_dev == newFile_.st_dev && file.st_ino == newFile_.st_ino;
    }

    FileSystemCalls& calls_;
    std::string folderPath_;
    std::string name_;
    std::string newName_; // empty while there is no new file; behind an exchange the old one's
    std::string keptName_; // of the old file, if it was kept under a further name
    OpenFolder folder_;
    int descriptor_ = -1;
    int oldDescriptor_ = -1; // marks the old file as in use while it is kept
    bool committed_ = false;
    bool exchanged_ = false;
    bool keptAsCopy_ = false;
    std::optional<struct stat> oldFile_;
    struct stat newFile_ { };
};
