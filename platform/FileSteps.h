#pragma once

#include "FileSystemCalls.h"
#include "NSData.h"

#include <cstddef>
#include <string>

// The steps that replacing a file and copying one have in common.

/// A system call that failed, as a failure of the whole that it belonged to.
struct FileSystemFailure {
    std::string reason;
    bool isReplaced = false; // it came after the new file had taken the old one's place
};

/// Raises: FileSystemFailure with the step and the words for errno.
[[noreturn]] void failStep(const char* step);

/// A descriptor that is closed with its scope; -1 for none.
class StDescriptor {
public:
    StDescriptor(FileSystemCalls& calls, int descriptor)
        : calls(calls)
        , value(descriptor)
    {
    }
    ~StDescriptor()
    {
        if (value >= 0)
            calls.close(value);
    }
    StDescriptor(const StDescriptor&) = delete;
    StDescriptor& operator=(const StDescriptor&) = delete;

    FileSystemCalls& calls;
    const int value;
};

/// The folder that a path stands in, "." for a bare name, and the name there.
std::string folderOf(const std::string& path);
std::string nameOf(const std::string& path);

/// A name for a file that is not complete yet: hidden, and not to be guessed by anybody who would want to be there
/// first. Raises: FileSystemFailure without a random number.
std::string temporaryName(const std::string& name);

/// True if `candidate` is such a name for `name`, by its form.
bool isTemporaryName(const std::string& candidate, const std::string& name);

/// Makes a file that its owner alone can read, for writing, and marks it as in use. Raises: FileSystemFailure.
int makeTemporaryFile(FileSystemCalls& calls, int folder, const std::string& name);

/// Raises: FileSystemFailure. Throws Interrupted.
void writeAll(FileSystemCalls& calls, int descriptor, const void* bytes, std::size_t count);
void writeAll(FileSystemCalls& calls, int descriptor, const NSData& data);

/// Renames within a folder, and never takes the place of another file: false and EEXIST where the name is taken. False
/// and errno on any other failure.
bool renameToFreeName(FileSystemCalls& calls, int folder, const std::string& from, const std::string& to);

/// A signal does not end it: interruptions are looked for between the steps. False and errno on a failure.
bool syncToItsEnd(FileSystemCalls& calls, int descriptor);

/// A folder that is open for work on the names in it.
struct OpenFolder {
    int descriptor = -1;
    bool canSync = true; // it may be written without being read; then it can't be synced
};

/// Raises: FileSystemFailure.
OpenFolder openFolder(FileSystemCalls& calls, const std::string& path);

/// Makes what has become of its names last, should the system crash. False and errno on a failure; a folder that can't
/// be synced is none.
bool syncFolder(FileSystemCalls& calls, const OpenFolder& folder);
