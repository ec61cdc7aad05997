#include "ExtraStringUtilities.h"

#include "NSLog.h"
#include "NSPathUtilities.h"

#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

namespace {

constexpr char kOperation[] = "-[NSString(ExtraStringUtilities) folderPathWithAliasesResolved]";
constexpr int kNoRefLine = 1368;
constexpr int kNotResolvedLine = 1376;
constexpr int kNoURLLine = 1383;

/// "%s %d, %s=%s": operation, line, the call that failed and what it gave.
void logFailure(int line, const char* call, const std::string& result)
{
    NSLog(std::string(kOperation) + " " + std::to_string(line) + ", " + call + "=" + result);
}

/// The error numbers are negative, and are logged as if they were not: the lines are compared by it.
std::string asUnsigned(int16_t error)
{
    return std::to_string(static_cast<uint32_t>(int32_t { error }));
}

/// The path of what stands at a path, without links. Absent and a log line if that can't be told.
std::optional<std::string> resolved(const std::string& path)
{
    FSRef ref;
    const int16_t noRef = FSPathMakeRef(path, ref);
    if (noRef != 0) {
        logFailure(kNoRefLine, "FSPathMakeRef", asUnsigned(noRef) + ", " + path);
        return std::nullopt;
    }
    const int16_t notResolved = FSResolveAliasFile(ref);
    if (notResolved != 0) {
        logFailure(kNotResolvedLine, "FSResolveAliasFile", asUnsigned(notResolved));
        return std::nullopt;
    }
    const std::optional<NSURL> url = CFURLCreateFromFSRef(ref);
    if (!url) {
        logFailure(kNoURLLine, "CFURLCreateFromFSRef", "0x0");
        return std::nullopt;
    }
    return url->path();
}

} // namespace

std::string ExtraStringUtilities::folderPathWithAliasesResolved(const std::string& path)
{
    const std::vector<std::string> components = pathComponents(stringByExpandingTildeInPath(path));
    std::string result;
    auto next = components.begin();
    for (bool goesOn = true; goesOn && next != components.end();) {
        result = stringByAppendingPathComponent(result, *next++);
        const std::optional<std::string> real = resolved(stringByExpandingTildeInPath(result));
        std::error_code none;
        goesOn = real && std::filesystem::is_directory(*real, none);
        if (real)
            result = *real;
    }
    for (; next != components.end(); ++next)
        result = stringByAppendingPathComponent(result, *next);
    return result;
}

std::string ExtraStringUtilities::filePathWithAliasesResolved(const std::string& path)
{
    const std::string folder = folderPathWithAliasesResolved(stringByDeletingLastPathComponent(path));
    return stringByAppendingPathComponent(folder, lastPathComponent(path));
}
