#include "VaultFile.h"

#include "ExitStatus.h"
#include "FileReplacement.h"
#include "NSFileManager.h"
#include "VaultContents.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& reason)
{
    throw CommandFailure(kFailed, path + ": " + reason);
}

/// Runs the steps of a replacement, and puts their failure into words.
template <class Steps>
void replace(const std::string& path, Steps steps)
{
    try {
        FileReplacement replacement(fileSystemCalls(), path);
        steps(replacement);
        replacement.syncFolder();
    } catch (const FileSystemFailure& failure) {
        if (failure.isReplaced)
            throw CommandFailure(kHalfWritten, path + ": was written, but " + failure.reason);
        fail(path, "can't be written, and is as it was: " + failure.reason);
    }
}

} // namespace

VaultContents readVault(const std::string& path)
{
    LinuxFileManager files;
    errno = 0;
    std::optional<NSData> bytes = files.dataWithContentsOfFile(path);
    if (!bytes) // without a word of the system's the file is there, and not for reading
        fail(path,
            errno != 0 ? std::string("can't be read: ") + std::strerror(errno)
                       : "can't be read: no regular file, or too large for a vault");
    try {
        return VaultContents(std::move(*bytes));
    } catch (const NoVault& noVault) {
        fail(path, noVault.what());
    }
}

void writeNewVault(const std::string& path, const NSData& bytes)
{
    replace(path, [&](FileReplacement& replacement) {
        if (replacement.oldFile())
            throw CommandFailure(kRefused, path + ": there is such a file, and it stays as it is");
        replacement.write(bytes);
        replacement.commitToFreeName();
    });
}

void replaceVault(const std::string& path, const NSData& bytes)
{
    replace(path, [&](FileReplacement& replacement) {
        replacement.write(bytes);
        replacement.commit();
    });
}

bool areOneFile(const std::string& a, const std::string& b)
{
    struct stat ofA { };
    struct stat ofB { };
    FileSystemCalls& calls = fileSystemCalls();
    return calls.statAt(AT_FDCWD, a, ofA, 0) == 0 && calls.statAt(AT_FDCWD, b, ofB, 0) == 0 && ofA.st_dev == ofB.st_dev
        && ofA.st_ino == ofB.st_ino;
}
