#include "NSFileManager.h"

#include "FileReplacement.h"
#include "FileSteps.h"
#include "FileSystemCalls.h"
#include "LargePages.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>

#include <fcntl.h>

namespace {

constexpr std::size_t kLargestFile = 0xFFFFFFF2; // a memory block of one byte more can't be had
constexpr std::size_t kGrowthLookahead = 4096; // a file that grows while it is read is read on in such steps

std::shared_ptr<uint8_t[]> obtainBuffer(std::size_t size)
{
    if (size < LargePages::kWorthwhile)
        return std::make_shared_for_overwrite<uint8_t[]>(size);
    auto* const bytes = static_cast<uint8_t*>(LargePages::obtain(size));
    if (bytes == nullptr)
        throw std::bad_alloc();
    return std::shared_ptr<uint8_t[]>(bytes, [size](uint8_t* memory) { LargePages::giveBack(memory, size); });
}

/// Bytes that are read into and not zeroed first, which for a large file costs as much as the reading.
class ReadBuffer {
public:
    explicit ReadBuffer(std::size_t size)
        : bytes(obtainBuffer(size))
        , size(size)
    {
    }

    void grow(std::size_t by)
    {
        ReadBuffer larger(size + by);
        std::copy_n(bytes.get(), size, larger.bytes.get());
        *this = larger;
    }

    std::shared_ptr<uint8_t[]> bytes;
    std::size_t size;
};

/// Everything up to the file's end, whatever its length was before. Absent on a failure or beyond the largest length.
std::optional<NSData> readToEnd(FileSystemCalls& calls, int descriptor, std::size_t expectedLength)
{
    ReadBuffer buffer(expectedLength + 1); // one more, so that the end is seen without another buffer
    std::size_t filled = 0;
    for (;;) {
        if (filled == buffer.size)
            buffer.grow(std::max(buffer.size / 2, kGrowthLookahead));
        const ssize_t got = calls.read(descriptor, buffer.bytes.get() + filled, buffer.size - filled);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        filled += static_cast<std::size_t>(got);
        if (filled > kLargestFile)
            return std::nullopt;
        if (got == 0)
            return NSData::dataWithBuffer(buffer.bytes, filled);
    }
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
    : calls_(fileSystemCalls())
{
}

LinuxFileManager::LinuxFileManager(FileSystemCalls& calls)
    : calls_(calls)
{
}

bool LinuxFileManager::fileExistsAtPath(const std::string& path)
{
    struct stat status { };
    return calls_.statAt(AT_FDCWD, path, status, 0) == 0;
}

std::optional<NSData> LinuxFileManager::dataWithContentsOfFile(const std::string& path)
{
    // Without O_NONBLOCK the mere opening of a pipe could wait for ever.
    const StDescriptor file(calls_, calls_.openAt(AT_FDCWD, path, O_RDONLY | O_NONBLOCK | O_CLOEXEC, 0));
    struct stat status { };
    if (file.value < 0 || calls_.statOf(file.value, status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    const auto length = static_cast<uint64_t>(status.st_size);
    if (length > kLargestFile)
        return std::nullopt;
    std::optional<NSData> data = readToEnd(calls_, file.value, static_cast<std::size_t>(length));
    if (data)
        readStamps_.insert_or_assign(path, Stamp(status));
    return data;
}

bool LinuxFileManager::isAsRead(const std::string& path, const struct stat& status) const
{
    const auto read = readStamps_.find(path);
    return read != readStamps_.end() && Stamp(status) == read->second;
}

bool LinuxFileManager::writeToFile(const NSData& data, const std::string& path, std::string* reason)
{
    try {
        FileReplacement replacement(calls_, path);
        replacement.write(data);
        const auto read = readStamps_.find(path);
        const std::optional<struct stat> present = replacement.presentFile();
        if (read != readStamps_.end() && present && Stamp(*present) != read->second)
            throw FileSystemFailure { kChangedSinceRead, /*isReplaced=*/false };
        replacement.commit();
        readStamps_.insert_or_assign(path, Stamp(replacement.newFile()));
        replacement.syncFolder();
        return true;
    } catch (const FileSystemFailure& failure) {
        if (reason != nullptr)
            *reason = (failure.isReplaced ? "replaced, but " : "not replaced: ") + failure.reason;
        return false;
    }
}
