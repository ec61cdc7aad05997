#include "NSFileManager.h"

#include "FileReplacement.h"
#include "FileSystemCalls.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>

namespace {

constexpr std::size_t kLargestFile = 0xFFFFFFF2; // a memory block of one byte more can't be had
constexpr std::size_t kGrowthLookahead = 4096; // a file that grows while it is read is read on in such steps

FileSystemCalls gCalls;

class StDescriptor {
public:
    StDescriptor(FileSystemCalls& calls, int descriptor) : calls(calls), value(descriptor) { }
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

/// Everything up to the file's end, whatever its length was before. Absent on a failure or beyond the largest length.
std::optional<std::vector<uint8_t>> readToEnd(FileSystemCalls& calls, int descriptor, std::size_t expectedLength)
{
    std::vector<uint8_t> bytes(expectedLength + 1); // one more, so that the end is seen without another buffer
    std::size_t filled = 0;
    for (;;) {
        if (filled == bytes.size())
            bytes.resize(bytes.size() + kGrowthLookahead);
        const ssize_t got = calls.read(descriptor, bytes.data() + filled, bytes.size() - filled);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        filled += static_cast<std::size_t>(got);
        if (filled > kLargestFile)
            return std::nullopt;
        if (got == 0)
            break;
    }
    bytes.resize(filled);
    return bytes;
}

} // namespace

LinuxFileManager::Stamp::Stamp(const struct stat& status)
    : device(status.st_dev)
    , file(status.st_ino)
    , size(status.st_size)
    , modifiedSeconds(status.st_mtim.tv_sec)
    , modifiedNanoseconds(status.st_mtim.tv_nsec)
{
}

LinuxFileManager::LinuxFileManager()
    : calls_(gCalls)
{
}

LinuxFileManager::LinuxFileManager(FileSystemCalls& calls)
    : calls_(calls)
{
}

bool LinuxFileManager::fileExistsAtPath(const std::string& path)
{
    struct stat status {};
    return calls_.statAt(AT_FDCWD, path, status, 0) == 0;
}

std::optional<NSData> LinuxFileManager::dataWithContentsOfFile(const std::string& path)
{
    // Without O_NONBLOCK the mere opening of a pipe could wait for ever.
    const StDescriptor file(calls_, calls_.openAt(AT_FDCWD, path, O_RDONLY | O_NONBLOCK | O_CLOEXEC, 0));
    struct stat status {};
    if (file.value < 0 || calls_.statOf(file.value, status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    const auto length = static_cast<uint64_t>(status.st_size);
    if (length > kLargestFile)
        return std::nullopt;
    std::optional<std::vector<uint8_t>> bytes = readToEnd(calls_, file.value, static_cast<std::size_t>(length));
    if (!bytes)
        return std::nullopt;
    readStamps_.insert_or_assign(path, Stamp(status));
    return NSData::dataWithBuffer(std::move(*bytes));
}

bool LinuxFileManager::writeToFile(const NSData& data, const std::string& path, std::string* reason)
{
    try {
        FileReplacement replacement(calls_, path);
        replacement.write(data);
        const auto read = readStamps_.find(path);
        const std::optional<struct stat> present = replacement.presentFile();
        if (read != readStamps_.end() && present && Stamp(*present) != read->second)
            throw FileSystemFailure { kChangedSinceRead };
        replacement.commit();
        readStamps_.insert_or_assign(path, Stamp(replacement.newFile()));
        return true;
    } catch (const FileSystemFailure& failure) {
        if (reason != nullptr)
            *reason = failure.reason;
        return false;
    }
}
