#include "ExtraStringUtilities.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <pwd.h>
#include <unistd.h>

namespace {

/// Bundle identifiers are ASCII.
std::string lowercased(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

} // namespace

bool ExtraStringUtilities::findProcess(
    const std::string& bundleIdentifier, ProcessSerialNumber* serialNumber, AppleEventSystem& eventSystem)
{
    const std::string wanted = lowercased(bundleIdentifier);
    for (const std::string& running : eventSystem.runningBundleIdentifiers()) {
        if (lowercased(running) != wanted)
            continue;
        const std::optional<uint32_t> pid = eventSystem.processID(running);
        if (!pid || *pid == static_cast<uint32_t>(::getpid())) // a process never finds itself
            continue;
        if (serialNumber != nullptr)
            *serialNumber = { 0, *pid };
        return true;
    }
    return false;
}

std::string ExtraStringUtilities::stringByExpandingTildeInPath(const std::string& path)
{
    if (path.empty() || path.front() != '~')
        return path;
    const std::size_t slash = std::min(path.find('/'), path.size());
    const std::string user = path.substr(1, slash - 1);
    const char* const home = user.empty() ? std::getenv("HOME") : nullptr;
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
