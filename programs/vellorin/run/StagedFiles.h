#pragma once

#include "NSFileManager.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// New selves of files, written and synced beside them, which take their places together.
///
/// Ending it before `commit` leaves the old files and nothing else.
class StagedFiles {
public:
    explicit StagedFiles();
    ~StagedFiles();
    StagedFiles(const StagedFiles&) = delete;
    StagedFiles& operator=(const StagedFiles&) = delete;

    /// Writes and syncs a file's new self beside it, and reads it back: the bytes as they lie on the disk's way.
    /// `expectedHash` is that of the present file. Raises: CommandFailure (kFailed). Throws Interrupted.
    NSData stage(const std::string& path, const NSData& bytes, const std::string& expectedHash);

    /// Replaces all, in the order of staging. A file that is no longer the one that was expected is not overwritten
    /// (FileChanged, before anything is replaced). If a later one fails, the earlier ones are exchanged back: CommandFailure
    /// with kFailed, or kHalfWritten if that failed too. Interruptions wait until it is over.
    void commit();

    size_t count() const;

private:
    struct Entry;
    std::vector<std::unique_ptr<Entry>> entries_;
};

/// Somebody else changed a file since it was read.
class FileChanged : public std::exception {
public:
    explicit FileChanged(std::string path) : path(std::move(path)) { }
    const char* what() const noexcept override { return path.c_str(); }

    const std::string path;
};
