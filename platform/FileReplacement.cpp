#include "FileReplacement.h"

#include "FileMetadataCopy.h"
#include "Interruption.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits.h>
#include <vector>

#include <fcntl.h>
#include <sys/random.h>

namespace {

constexpr std::size_t kChunk = 1 << 20; // between two looks for an interruption
constexpr std::size_t kLongestNamePart = 120; // a temporary name has 138 bytes then; enciphered names end at 143
constexpr int kMostLinks = 40;

[[noreturn]] void fail(const char* step)
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

/// As many bytes of a name as go into a temporary one. Not cut inside a UTF-8 character: a file system may refuse that.
std::size_t lengthOfNamePart(const std::string& name)
{
    std::size_t length = std::min(name.size(), kLongestNamePart);
    while (length > 0 && length < name.size() && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80)
        --length;
    return length;
}

/// Hidden, and not to be guessed by anybody who would want to be there first.
std::string temporaryName(const std::string& name)
{
    unsigned char random[8];
    if (::getrandom(random, sizeof random, 0) != sizeof random)
        fail("random number");
    std::string result(1, '.');
    result.append(name, 0, lengthOfNamePart(name));
    result += '.';
    for (const unsigned char byte : random) {
        static constexpr char kDigits[] = "0123456789abcdef";
        result += { kDigits[byte >> 4], kDigits[byte & 15] };
    }
    return result;
}

/// A signal does not end it: interruptions are looked for between the steps of a replacement.
bool syncToItsEnd(FileSystemCalls& calls, int descriptor)
{
    int result = -1;
    do {
        result = calls.sync(descriptor);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

} // namespace

FileReplacement::FileReplacement(FileSystemCalls& calls, const std::string& path)
    : FileReplacement(calls) // complete from here on: a failure closes what it leaves open
{
    resolveLinks(path);
    openFolder();
    oldFile_ = presentFile();
    if (oldFile_ && !S_ISREG(oldFile_->st_mode))
        throw FileSystemFailure { "not a regular file", /*isReplaced=*/false };
}

FileReplacement::~FileReplacement()
{
    if (descriptor_ >= 0)
        calls_.close(descriptor_);
    if (!newName_.empty() && !committed_)
        calls_.unlinkAt(folder_, newName_);
    if (folder_ >= 0)
        calls_.close(folder_);
}

void FileReplacement::resolveLinks(const std::string& path)
{
    std::string resolved = path;
    for (int links = 0; links <= kMostLinks; ++links) {
        char target[PATH_MAX];
        const ssize_t length = calls_.readLinkAt(AT_FDCWD, resolved, target, sizeof target);
        if (length < 0 || static_cast<std::size_t>(length) == sizeof target) { // no link, or nothing at all
            folderPath_ = folderOf(resolved);
            name_ = nameOf(resolved);
            return;
        }
        const std::string next(target, static_cast<std::size_t>(length));
        resolved = next.rfind('/', 0) == 0 ? next : folderOf(resolved) + "/" + next;
    }
    errno = ELOOP;
    fail("symbolic link");
}

void FileReplacement::openFolder()
{
    folder_ = calls_.openAt(AT_FDCWD, folderPath_, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    if (folder_ < 0 && errno == EACCES) { // it may be written without being read; then it can't be synced
        folder_ = calls_.openAt(AT_FDCWD, folderPath_, O_PATH | O_DIRECTORY | O_CLOEXEC, 0);
        folderCanSync_ = false;
    }
    if (folder_ < 0)
        fail("folder");
}

std::optional<struct stat> FileReplacement::presentFile()
{
    struct stat status {};
    if (calls_.statAt(folder_, name_, status, AT_SYMLINK_NOFOLLOW) == 0)
        return status;
    if (errno != ENOENT)
        fail("old file");
    return std::nullopt;
}

void FileReplacement::write(const NSData& data)
{
    makeNewFile();
    writeAll(data);
    takeOverMetadata();
    if (!syncToItsEnd(calls_, descriptor_))
        fail("sync");
    if (calls_.statOf(descriptor_, newFile_) != 0)
        fail("status");
}

void FileReplacement::makeNewFile()
{
    const std::string name = temporaryName(name_);
    descriptor_ = calls_.openAt(folder_, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor_ < 0)
        fail("new file");
    newName_ = name;
}

void FileReplacement::writeAll(const NSData& data)
{
    const uint8_t* next = data.bytes();
    std::size_t left = data.length();
    while (left > 0) {
        throwIfInterrupted();
        const ssize_t written = calls_.write(descriptor_, next, std::min(left, kChunk));
        if (written < 0 && errno == EINTR)
            continue;
        if (written == 0)
            errno = EIO; // a file that takes nothing would be written for ever
        if (written <= 0)
            fail("write");
        next += written;
        left -= static_cast<std::size_t>(written);
    }
}

void FileReplacement::takeOverMetadata()
{
    if (!oldFile_)
        return;
    const int oldDescriptor = calls_.openAt(folder_, name_, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0);
    copyFileMetadata(calls_, *oldFile_, oldDescriptor, descriptor_);
    if (oldDescriptor >= 0)
        calls_.close(oldDescriptor);
}

void FileReplacement::commit()
{
    throwIfInterrupted();
    if (calls_.renameAt(folder_, newName_, name_) != 0)
        fail("replace");
    committed_ = true;
}

void FileReplacement::syncFolder()
{
    // A file system that can't sync a folder says so with EINVAL; it has its own ways.
    if (folderCanSync_ && !syncToItsEnd(calls_, folder_) && errno != EINVAL)
        throw FileSystemFailure { std::string("the folder can't be synced: ") + std::strerror(errno), /*isReplaced=*/true };
}
