#include "ExtraStringUtilities.h"

#include "NSLog.h"
#include "UtilityExceptions.h"

#include <filesystem>
#include <system_error>

namespace {

constexpr char kSetType[] = "-[NSString(ExtraStringUtilities) setType:creator:]";
constexpr int kSetTypeReadLine = 1538;
constexpr int kSetTypeWriteLine = 1547;

constexpr char kFileInfo[] = "-[NSString(ExtraStringUtilities) fileInfo:]";
constexpr int kFileInfoAbsentLine = 1556;
constexpr int kFileInfoReadLine = 1563;

constexpr char kSetFileInfo[] = "-[NSString(ExtraStringUtilities) setFileInfo:]";
constexpr int kSetFileInfoAbsentLine = 1574;
constexpr int kSetFileInfoReadLine = 1581;
constexpr int kSetFileInfoWriteLine = 1588;

/// False if `error` is one, with a log line.
bool succeeded(int error, const char* operation, int line)
{
    if (error != 0)
        NSLog(placeText(operation, line));
    return error == 0;
}

/// The file's path without a tilde. Raises if there is no such file.
std::string presentFile(const std::string& path)
{
    ExtraStringUtilities::FSRefWithPath(path);
    return ExtraStringUtilities::stringByExpandingTildeInPath(path);
}

bool isDirectory(const std::string& path)
{
    std::error_code none;
    return std::filesystem::is_directory(path, none);
}

} // namespace

bool ExtraStringUtilities::setType(const std::string& path, uint32_t type, uint32_t creator)
{
    const std::string file = presentFile(path);
    FileInfo info;
    if (!succeeded(FinderInfo::get(file, info), kSetType, kSetTypeReadLine))
        return false;
    info.type = type;
    info.creator = creator;
    return succeeded(FinderInfo::set(file, info), kSetType, kSetTypeWriteLine);
}

bool ExtraStringUtilities::copyTypeCreatorToPath(const std::string& path, const std::string& toPath)
{
    const bool isFolder = isDirectory(path);
    if (isFolder != isDirectory(toPath))
        return false;
    if (isFolder)
        return true;
    FileInfo info;
    if (FinderInfo::get(presentFile(path), info) != 0)
        return false;
    return setType(toPath, info.type, info.creator);
}

bool ExtraStringUtilities::fileInfo(const std::string& path, FileInfo* info)
{
    if (info == nullptr)
        raiseInconsistency(placeText(kFileInfo, kFileInfoAbsentLine), "fileInfo:", kFileInfoAbsentLine);
    FileInfo present;
    if (!succeeded(FinderInfo::get(presentFile(path), present), kFileInfo, kFileInfoReadLine))
        return false;
    *info = present;
    return true;
}

bool ExtraStringUtilities::setFileInfo(const std::string& path, const FileInfo* info)
{
    if (info == nullptr)
        raiseInconsistency(placeText(kSetFileInfo, kSetFileInfoAbsentLine), "setFileInfo:", kSetFileInfoAbsentLine);
    const std::string file = presentFile(path);
    FileInfo present; // read for its failure alone: all of it is replaced
    return succeeded(FinderInfo::get(file, present), kSetFileInfo, kSetFileInfoReadLine)
        && succeeded(FinderInfo::set(file, *info), kSetFileInfo, kSetFileInfoWriteLine);
}
