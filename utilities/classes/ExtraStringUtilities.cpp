#include "ExtraStringUtilities.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <pwd.h>
#include <unistd.h>

bool ExtraStringUtilities::findProcess(
    const std::string& bundleIdentifier, ProcessSerialNumber* serialNumber, AppleEventSystem& eventSystem)
{
    const std::optional<ProcessSerialNumber> found = eventSystem.findProcess(bundleIdentifier);
    if (found && serialNumber != nullptr)
        *serialNumber = *found;
    return found.has_value();
}

std::string ExtraStringUtilities::stringByExpandingTildeInPath(const std::string& path)
{
    if (path.empty() || path.front() != '~')
        return path;
    const std::size_t slash = std::min(path.find('/'), path.size());
    const std::string user = path.substr(1, slash - 1);
    const char* home = user.empty() ? std::getenv("HOME") : nullptr;
    if (home != nullptr && *home == '\0')
        home = nullptr;
    const passwd* const entry = user.empty() ? ::getpwuid(::getuid()) : ::getpwnam(user.c_str());
    if (home == nullptr && entry == nullptr)
        return path;
    return (home != nullptr ? home : entry->pw_dir) + path.substr(slash);
}

bool ExtraStringUtilities::burrowToPath(const std::string& path)
{
    std::error_code error;
    std::filesystem::create_directories(path, error);
    return !error;
}
