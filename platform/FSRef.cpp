#include "FSRef.h"

#include "FilePaths.h"
#include "FileSystemCalls.h"

#include <cerrno>
#include <cstring>
#include <deque>

#include <fcntl.h>

namespace {

constexpr int16_t kFileNotFound = -43; // fnfErr
constexpr int16_t kInputOutputError = -36; // ioErr
constexpr int16_t kRefsDiffer = -1420; // errFSRefsDifferent

constexpr std::size_t kMostRemembered = 256;

/// A path by which an object was referred to. The system has no way of its own from the number to the path.
struct KnownPath {
    FSRef ref;
    std::string path;
};

std::deque<KnownPath>& knownPaths()
{
    static std::deque<KnownPath> paths; // the newest first
    return paths;
}

void remember(const FSRef& ref, const std::string& path)
{
    std::deque<KnownPath>& paths = knownPaths();
    std::erase_if(paths, [&](const KnownPath& known) { return FSCompareFSRefs(known.ref, ref) == 0; });
    paths.push_front({ ref, canonicalPath(path) });
    if (paths.size() > kMostRemembered)
        paths.pop_back();
}

int16_t makeRef(const std::string& path, FSRef& ref)
{
    struct stat status { };
    if (fileSystemCalls().statAt(AT_FDCWD, path, status, 0) != 0)
        return errno == ENOENT || errno == ENOTDIR ? kFileNotFound : kInputOutputError;
    const uint64_t identity[] = { status.st_dev, status.st_ino };
    ref = {};
    std::memcpy(ref.hidden.data(), identity, sizeof identity);
    return 0;
}

} // namespace

int16_t FSPathMakeRef(const std::string& path, FSRef& ref)
{
    const int16_t error = makeRef(path, ref);
    if (error == 0)
        remember(ref, path);
    return error;
}

int16_t FSCompareFSRefs(const FSRef& a, const FSRef& b)
{
    return a.hidden == b.hidden ? 0 : kRefsDiffer;
}

int16_t FSResolveAliasFile(FSRef& ref)
{
    return CFURLCreateFromFSRef(ref) ? 0 : kFileNotFound;
}

std::optional<NSURL> CFURLCreateFromFSRef(const FSRef& ref)
{
    for (const KnownPath& known : knownPaths()) {
        FSRef present;
        if (FSCompareFSRefs(known.ref, ref) != 0)
            continue;
        if (makeRef(known.path, present) != 0 || FSCompareFSRefs(present, ref) != 0)
            return std::nullopt;
        return NSURL::fileURLWithPath(known.path);
    }
    return std::nullopt;
}
