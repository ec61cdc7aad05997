#include "FileCopy.h"

#include "FileMetadataCopy.h"
#include "Interruption.h"
#include "Leftovers.h"

#include <cerrno>
#include <cstdint>
#include <utility>
#include <vector>

#include <fcntl.h>

namespace {

constexpr std::size_t kCopyChunk = 1 << 16;

/// One copy, step by step. Ending it before `finish` has succeeded leaves nothing.
class FileCopy {
public:
    FileCopy(FileSystemCalls& calls, const std::string& from, const std::string& to);
    ~FileCopy();
    FileCopy(const FileCopy&) = delete;
    FileCopy& operator=(const FileCopy&) = delete;

    /// At most `length` bytes, and one more to tell a longer source: one that grows as fast as it is read must not fill
    /// the disk.
    void takeContent(int source, uint64_t length);
    void takeMetadata(const struct stat& status, int source);

    /// Makes it complete on disk, under its name.
    void finish();

private:
    void takeName();
    bool isOwn(const std::string& present) const;

    FileSystemCalls& calls;
    const std::string name;
    const OpenFolder folder;
    std::string presentName; // empty while there is nothing to remove
    int descriptor = -1;
};

/// The temporary file is named for the source: who replaces or copies that again removes what was left. A backup's
/// number may never come up again.
FileCopy::FileCopy(FileSystemCalls& calls, const std::string& from, const std::string& to)
    : calls(calls)
    , name(nameOf(to))
    , folder(openFolder(calls, folderOf(to)))
{
    try {
        removeLeftoverFiles(calls, folder.descriptor, nameOf(from));
        std::string temporary = temporaryName(nameOf(from));
        descriptor = makeTemporaryFile(calls, folder.descriptor, temporary);
        presentName = std::move(temporary);
    } catch (...) {
        calls.close(folder.descriptor);
        throw;
    }
}

FileCopy::~FileCopy()
{
    if (!presentName.empty() && isOwn(presentName))
        calls.unlinkAt(folder.descriptor, presentName);
    calls.close(descriptor);
    calls.close(folder.descriptor);
}

/// Whether the copy itself stands under the name, and not what somebody has put there since.
bool FileCopy::isOwn(const std::string& present) const
{
    struct stat own { };
    struct stat there { };
    return calls.statOf(descriptor, own) == 0
        && calls.statAt(folder.descriptor, present, there, AT_SYMLINK_NOFOLLOW) == 0 && own.st_dev == there.st_dev
        && own.st_ino == there.st_ino;
}

void FileCopy::takeContent(int source, uint64_t length)
{
    if (calls.clone(source, descriptor) == 0)
        return;
    std::vector<uint8_t> chunk(kCopyChunk);
    for (uint64_t copied = 0; copied <= length;) {
        const ssize_t got = calls.read(source, chunk.data(), chunk.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            failStep("read");
        if (got == 0)
            return;
        writeAll(calls, descriptor, chunk.data(), static_cast<std::size_t>(got));
        copied += static_cast<uint64_t>(got);
    }
}

void FileCopy::takeMetadata(const struct stat& status, int source)
{
    copyFileMetadata(calls, status, source, descriptor);
    calls.setTimes(descriptor, status.st_atim, status.st_mtim); // if not, it has those of its making
}

void FileCopy::finish()
{
    if (!syncToItsEnd(calls, descriptor))
        failStep("sync");
    throwIfInterrupted();
    takeName();
    if (!syncFolder(calls, folder))
        failStep("folder sync");
    presentName.clear();
}

void FileCopy::takeName()
{
    std::string nameBehind = name; // made before: a copy that takes its name and lacks memory then would stay
    if (!renameToFreeName(calls, folder.descriptor, presentName, name))
        failStep("name");
    presentName = std::move(nameBehind);
}

bool isSameTime(const timespec& a, const timespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

/// In-place changes that come while it is read.
bool isUnchanged(FileSystemCalls& calls, int source, const struct stat& before)
{
    struct stat now { };
    return calls.statOf(source, now) == 0 && now.st_size == before.st_size && isSameTime(now.st_mtim, before.st_mtim)
        && isSameTime(now.st_ctim, before.st_ctim);
}

} // namespace

void copyFile(FileSystemCalls& calls, const std::string& from, const std::string& to)
{
    // Without O_NONBLOCK the mere opening of a pipe could wait for ever.
    const StDescriptor source(calls, calls.openAt(AT_FDCWD, from, O_RDONLY | O_NONBLOCK | O_CLOEXEC, 0));
    struct stat status { };
    if (source.value < 0 || calls.statOf(source.value, status) != 0)
        failStep("source");
    if (!S_ISREG(status.st_mode))
        throw FileSystemFailure { "not a regular file", /*isReplaced=*/false };

    FileCopy copy(calls, from, to);
    copy.takeContent(source.value, static_cast<uint64_t>(status.st_size));
    copy.takeMetadata(status, source.value);
    if (!isUnchanged(calls, source.value, status))
        throw FileSystemFailure { "the file has changed while it was copied", /*isReplaced=*/false };
    copy.finish();
}
