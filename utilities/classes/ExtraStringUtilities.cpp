#include "ExtraStringUtilities.h"

#include "FinderInfo.h"
#include "NSLog.h"
#include "UtilityExceptions.h"

#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

namespace {

constexpr char kSetTypeCreator[] = "-[NSString(ExtraStringUtilities) setType:creator:]";
constexpr int kSetTypeReadLine = 1538;
constexpr int kSetTypeWriteLine = 1547;
constexpr int kCantFindFileLine = 1202;
constexpr int kFSRefLine = 1203;
constexpr int16_t kFileNotFound = -43;

} // namespace

bool ExtraStringUtilities::findProcess(
    const std::string& bundleIdentifier, ProcessSerialNumber* serialNumber, AppleEventSystem& eventSystem)
{
    const std::optional<ProcessSerialNumber> found = eventSystem.findProcess(bundleIdentifier);
    if (found && serialNumber != nullptr)
        *serialNumber = *found;
    return found.has_value();
}

FSRef ExtraStringUtilities::FSRefWithPath(const std::string& path)
{
    FSRef ref;
    const int16_t error = FSPathMakeRef(stringByExpandingTildeInPath(path), ref);
    if (error == kFileNotFound)
        raiseInconsistency("Can't find file.", "FSRefWithPath", kCantFindFileLine);
    if (error != 0)
        raiseInconsistency("ExtraContainerUtilities FSRefWithPath", "FSRefWithPath", kFSRefLine);
    return ref;
}

bool ExtraStringUtilities::setType(const std::string& path, uint32_t type, uint32_t creator)
{
    FSRefWithPath(path); // raises if there is no such file
    const std::string file = stringByExpandingTildeInPath(path);
    FileInfo info;
    if (FinderInfo::get(file, info) != 0) {
        NSLog(placeText(kSetTypeCreator, kSetTypeReadLine));
        return false;
    }
    info.type = type;
    info.creator = creator;
    if (FinderInfo::set(file, info) != 0) {
        NSLog(placeText(kSetTypeCreator, kSetTypeWriteLine));
        return false;
    }
    return true;
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
