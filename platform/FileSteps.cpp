#include "FileSteps.h"

#include "Interruption.h"
#include "NSMutableData.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <sys/random.h>

namespace {

constexpr std::size_t kChunk = 1 << 20; // between two looks for an interruption
constexpr std::size_t kJoined = 1 << 16; // stays near the processor
constexpr std::size_t kWorthBeginning = 4 * kChunk; // less is on the disk as soon as it is asked for
constexpr std::size_t kRandomBytes = 8; // two digits each
constexpr char kDigits[] = "0123456789abcdef";
constexpr std::size_t kLongestNamePart = 120; // a temporary name has 138 bytes then; enciphered names end at 143

/// As many bytes of a name as go into a temporary one. Not cut inside a UTF-8 character: a file system may refuse that.
std::size_t lengthOfNamePart(const std::string& name)
{
    std::size_t length = std::min(name.size(), kLongestNamePart);
    while (length > 0 && length < name.size() && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80)
        --length;
    return length;
}

std::string beginOfTemporaryName(const std::string& name)
{
    std::string begin(1, '.');
    begin.append(name, 0, lengthOfNamePart(name));
    begin += '.';
    return begin;
}

} // namespace

void failStep(const char* step)
{
    throw FileSystemFailure { std::string(step) + ": " + std::strerror(errno), /*isReplaced=*/false };
}

std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string temporaryName(const std::string& name)
{
    unsigned char random[kRandomBytes];
    if (::getrandom(random, sizeof random, 0) != sizeof random)
        failStep("random number");
    std::string result = beginOfTemporaryName(name);
    for (const unsigned char byte : random)
        result += { kDigits[byte >> 4], kDigits[byte & 15] };
    return result;
}

bool isTemporaryName(const std::string& candidate, const std::string& name)
{
    const std::string begin = beginOfTemporaryName(name);
    return candidate.size() == begin.size() + 2 * kRandomBytes && candidate.compare(0, begin.size(), begin) == 0
        && candidate.find_first_not_of(kDigits, begin.size()) == std::string::npos;
}

int makeTemporaryFile(FileSystemCalls& calls, int folder, const std::string& name)
{
    const int descriptor = calls.openAt(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0)
        failStep("new file");
    calls.markInUse(descriptor); // where that isn't known, nothing counts as left over
    return descriptor;
}

namespace {

/// Writes a new file from its beginning.
class FileWriter {
public:
    FileWriter(FileSystemCalls& calls, int descriptor)
        : calls(calls)
        , descriptor(descriptor)
    {
    }

    void write(const uint8_t* bytes, std::size_t count)
    {
        std::size_t left = count;
        while (left > 0) {
            throwIfInterrupted();
            const ssize_t written = calls.write(descriptor, bytes + (count - left), std::min(left, kChunk));
            if (written < 0 && errno == EINTR)
                continue;
            if (written == 0)
                errno = EIO; // a file that takes nothing would be written for ever
            if (written <= 0)
                failStep("write");
            left -= static_cast<std::size_t>(written);
            done += static_cast<std::size_t>(written);
            beginSync();
        }
    }

private:
    void beginSync()
    {
        if (done - begun < kWorthBeginning)
            return;
        calls.beginSync(descriptor, static_cast<off_t>(begun), done - begun);
        begun = done;
    }

    FileSystemCalls& calls;
    const int descriptor;
    std::size_t done = 0;
    std::size_t begun = 0; // of these, on their way to the disk
};

/// Joins short pieces, so that each needs no call of its own.
class JoiningWriter {
public:
    JoiningWriter(FileWriter& writer, std::size_t total)
        : writer(writer)
    {
        buffer.setLength(std::min(total, kJoined));
    }

    void write(const uint8_t* bytes, std::size_t count)
    {
        if (count >= buffer.length()) {
            flush();
            writer.write(bytes, count);
            return;
        }
        while (count > 0) {
            const std::size_t now = std::min(count, buffer.length() - filled);
            std::copy_n(bytes, now, buffer.mutableBytes() + filled);
            filled += now;
            bytes += now;
            count -= now;
            if (filled == buffer.length())
                flush();
        }
    }

    void flush()
    {
        writer.write(buffer.bytes(), filled);
        filled = 0;
    }

private:
    FileWriter& writer;
    NSMutableData buffer; // wipes itself
    std::size_t filled = 0;
};

} // namespace

void writeAll(FileSystemCalls& calls, int descriptor, const void* bytes, std::size_t count)
{
    FileWriter(calls, descriptor).write(static_cast<const uint8_t*>(bytes), count);
}

void writeAll(FileSystemCalls& calls, int descriptor, const NSData& data)
{
    const std::vector<NSData::ByteRange> ranges = data.byteRanges();
    FileWriter writer(calls, descriptor);
    if (ranges.size() == 1) {
        writer.write(ranges.front().bytes, ranges.front().length);
        return;
    }
    JoiningWriter joining(writer, data.length());
    for (const NSData::ByteRange& range : ranges)
        joining.write(range.bytes, range.length);
    joining.flush();
}

bool renameToFreeName(FileSystemCalls& calls, int folder, const std::string& from, const std::string& to)
{
    if (calls.renameToFreeNameAt(folder, from, to) == 0)
        return true;
    // A file system may not know this kind of renaming; a further name never takes another's place either.
    const bool isUnknown = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    if (!isUnknown || calls.linkAt(folder, from, to) != 0)
        return false;
    calls.unlinkAt(folder, from);
    return true;
}

bool syncToItsEnd(FileSystemCalls& calls, int descriptor)
{
    int result = -1;
    do {
        result = calls.sync(descriptor);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

OpenFolder openFolder(FileSystemCalls& calls, const std::string& path)
{
    OpenFolder folder { calls.openAt(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0), /*canSync=*/true };
    if (folder.descriptor < 0 && errno == EACCES)
        folder = { calls.openAt(AT_FDCWD, path, O_PATH | O_DIRECTORY | O_CLOEXEC, 0), /*canSync=*/false };
    if (folder.descriptor < 0)
        failStep("folder");
    return folder;
}

bool syncFolder(FileSystemCalls& calls, const OpenFolder& folder)
{
    // A file system that can't sync a folder says so with EINVAL; it has its own ways.
    return !folder.canSync || syncToItsEnd(calls, folder.descriptor) || errno == EINVAL;
}
