#pragma once

#include "NSData.h"
#include "NSFileManager.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class FileSystemCalls;

/// Somebody else changed a file since it was read.
class FileChanged : public std::exception {
public:
    explicit FileChanged(std::string path)
        : path(std::move(path))
    {
    }
    const char* what() const noexcept override { return path.c_str(); }

    const std::string path;
};

/// New selves of files, written and synced beside them, which take their places together.
///
/// Ending the object before `commit` leaves the old files and nothing else; what a killed program leaves goes with the
/// next run (Leftovers.h).
class StagedFiles {
public:
    StagedFiles();
    ~StagedFiles();
    StagedFiles(const StagedFiles&) = delete;
    StagedFiles& operator=(const StagedFiles&) = delete;

    /// Reads a file, by whose present state it is recognised until it is replaced. Raises: CommandFailure (kFailed).
    NSData read(const std::string& path);

    /// Writes and syncs the new self of a file that was read here, and answers what can be read of it then.
    /// Raises: CommandFailure (kFailed). Throws Interrupted.
    NSData stage(const std::string& path, const NSData& bytes);

    /// Where the new self of a file lies that was staged last.
    std::string newPath() const;

    /// Drops a file's new self: the file stays as it is.
    void discard(const std::string& path);

    /// Replaces all, in the order of staging, and makes that last. A file that is no longer as it was read is not
    /// overwritten: FileChanged, with all files old. So they are when a replacement fails: those before it are taken
    /// back, CommandFailure with kFailed; with kHalfWritten if that failed too, and the message names what is new and
    /// what old. Throws Interrupted before it begins; afterwards it goes on to its end.
    void commit();

    std::size_t count() const { return entries_.size(); }

private:
    struct Entry;
    void forEach(void (StagedFiles::*step)(Entry&));
    void expectAsRead(Entry& entry);
    void replace(Entry& entry);
    void syncFolder(Entry& entry);
    void takeBackReplaced(std::string_view path, std::string_view reason);
    static bool takeBack(Entry& entry) noexcept;
    std::string whatIsNew() const;

    FileSystemCalls& calls_;
    LinuxFileManager files_;
    std::vector<std::unique_ptr<Entry>> entries_;
};
