#include "Leftovers.h"

#include "FileSteps.h"

#include <cstdint>
#include <vector>

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

namespace {

constexpr std::size_t kAsideBytes = 6; // two digits each; a temporary file has more of them
constexpr char kDigits[] = "0123456789abcdef";

bool isAside(const std::string& candidate, const std::string& lockName)
{
    const std::size_t begin = lockName.size() + 1;
    return candidate.size() == begin + 2 * kAsideBytes && candidate.compare(0, begin, lockName + ".") == 0
        && candidate.find_first_not_of(kDigits, begin) == std::string::npos;
}

std::vector<std::string> namesIn(FileSystemCalls& calls, int folder)
{
    std::vector<std::string> names;
    if (calls.namesIn(folder, names) != 0)
        return {};
    return names;
}

/// True if it is of this kind, of this user, and no living process has marked it. The mark is ours then.
bool isLeftOver(FileSystemCalls& calls, int descriptor, mode_t kind)
{
    struct stat status { };
    return descriptor >= 0 && calls.statOf(descriptor, status) == 0 && (status.st_mode & S_IFMT) == kind
        && status.st_uid == ::geteuid() && calls.markInUse(descriptor) == 0;
}

} // namespace

void removeLeftoverFiles(FileSystemCalls& calls, int folder, const std::string& name)
{
    for (const std::string& candidate : namesIn(calls, folder)) {
        if (!isTemporaryName(candidate, name))
            continue;
        const StDescriptor file(
            calls, calls.openAt(folder, candidate, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
        if (isLeftOver(calls, file.value, S_IFREG))
            calls.unlinkAt(folder, candidate);
    }
}

void removeLeftoverLocks(FileSystemCalls& calls, const std::string& path)
{
    const std::string lockName = nameOf(path);
    const StDescriptor folder(calls, calls.openAt(AT_FDCWD, folderOf(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (folder.value < 0)
        return;
    for (const std::string& candidate : namesIn(calls, folder.value)) {
        if (!isAside(candidate, lockName))
            continue;
        const StDescriptor aside(
            calls, calls.openAt(folder.value, candidate, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
        if (!isLeftOver(calls, aside.value, S_IFDIR))
            continue;
        calls.unlinkAt(aside.value, kLockNote);
        calls.removeFolderAt(folder.value, candidate);
    }
}

std::string pathAside(const std::string& path)
{
    unsigned char random[kAsideBytes] = {};
    if (::getrandom(random, sizeof random, 0) < 0)
        return path + ".gone"; // unlikely enough to be there
    std::string result = path + ".";
    for (const unsigned char byte : random)
        result += { kDigits[byte >> 4], kDigits[byte & 15] };
    return result;
}
