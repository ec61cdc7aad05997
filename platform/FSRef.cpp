#include "FSRef.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace {

constexpr int16_t kFileNotFound = -43; // fnfErr
constexpr int16_t kInputOutputError = -36; // ioErr
constexpr int16_t kRefsDiffer = -1420; // errFSRefsDifferent

} // namespace

int16_t FSPathMakeRef(const std::string& path, FSRef& ref)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return errno == ENOENT || errno == ENOTDIR ? kFileNotFound : kInputOutputError;
    const uint64_t identity[] = { status.st_dev, status.st_ino };
    ref = {};
    std::memcpy(ref.hidden.data(), identity, sizeof identity);
    return 0;
}

int16_t FSCompareFSRefs(const FSRef& a, const FSRef& b)
{
    return a.hidden == b.hidden ? 0 : kRefsDiffer;
}
