#include "ExtraStringUtilities.h"

#include "NSBundle.h"
#include "NSException.h"
#include "NSLog.h"
#include "NSPathUtilities.h"

#include <limits>
#include <optional>
#include <string_view>

namespace {

constexpr char kMade[] = "Your old data file has been backed up.";
constexpr char kMadeFormat[] = "Your data file was backed up with the name '%@' in the same folder as the original.\n\n"
                               "(Always keep backups!!!)";
constexpr char kNotMade[] = "Can't backup data file.";
constexpr char kNotMadeFormat[] = "Couldn't create backup of file '%@'.  Sorry.";
constexpr char kAllTaken[] = "We have a nil newPath AND a nil oldestMatchedPath.  This can't happen.  Or shouldn't.";

constexpr int kHighestNumber = 100;

std::string suffix(int number)
{
    return " backup " + std::to_string(number);
}

/// The names that the backups of one file may have.
struct BackupNames {
    std::string base;
    std::string extension; // with its dot, or empty
    int firstNumber = 1;

    std::string path(int number) const { return base + suffix(number) + extension; }
};

BackupNames backupNames(const std::string& path)
{
    BackupNames names { stringByDeletingPathExtension(path), pathExtension(path) };
    if (!names.extension.empty())
        names.extension.insert(names.extension.begin(), '.');
    for (int number = 1; number <= kHighestNumber; ++number) {
        if (!names.base.ends_with(suffix(number)))
            continue;
        names.base.erase(names.base.size() - suffix(number).size());
        names.firstNumber = number < kHighestNumber ? number + 1 : 1;
        break;
    }
    return names;
}

/// The date that decides which backup is the oldest. It is the volume's and not the file's, and no volume has one, so
/// that no backup ever is: callers rely on it that none is replaced.
std::optional<double> modificationDate(const std::string& path, NSFileItems& files)
{
    const FileSystemAttributes attributes = files.attributesOfFileSystemForPath(path);
    const auto date = attributes.find(NSFileModificationDate);
    return date != attributes.end() ? std::optional(date->second) : std::nullopt;
}

/// Where the backup goes; absent and a log line if all numbers are taken.
std::optional<std::string> targetPath(const BackupNames& names, NSFileItems& files)
{
    double oldestDate = std::numeric_limits<double>::infinity();
    std::optional<std::string> oldestMatchedPath;
    for (int number = names.firstNumber; number <= kHighestNumber; ++number) {
        const std::string newPath = names.path(number);
        if (!files.fileExistsAtPath(newPath))
            return newPath;
        const std::optional<double> date = modificationDate(newPath, files);
        if (date && *date < oldestDate) {
            oldestMatchedPath = newPath;
            oldestDate = *date;
        }
    }
    if (oldestMatchedPath)
        files.removeItemAtPath(*oldestMatchedPath); // if not, the copy fails
    else
        NSLog(kAllTaken);
    return oldestMatchedPath;
}

void copyCodesIfPossible(const std::string& path, const std::string& toPath)
{
    try {
        ExtraStringUtilities::copyTypeCreatorToPath(path, toPath);
    } catch (const NSException&) { // one of the two is gone again; the report tells of the copy alone
        return;
    }
}

/// The format is translated first; nothing in the value is a format.
ExtraStringUtilities::BackupReport report(const char* headline, const char* format, const std::string& value)
{
    constexpr std::string_view kPlace = "%@";
    const NSBundle& bundle = NSBundle::mainBundle();
    std::string text = bundle.localizedStringForKey(format);
    const std::size_t place = text.find(kPlace);
    if (place != std::string::npos)
        text.replace(place, kPlace.size(), value);
    return { { ExtraStringUtilities::kBackupHeadline, bundle.localizedStringForKey(headline) },
        { ExtraStringUtilities::kBackupText, text } };
}

} // namespace

ExtraStringUtilities::BackupReport ExtraStringUtilities::makeBackupCopy(const std::string& path, NSFileItems& files)
{
    const std::optional<std::string> target = targetPath(backupNames(path), files);
    if (!target || !files.copyItemAtPath(path, *target))
        return report(kNotMade, kNotMadeFormat, path);
    copyCodesIfPossible(path, *target);
    return report(kMade, kMadeFormat, lastPathComponent(*target));
}

bool ExtraStringUtilities::isBackupMade(const BackupReport& report)
{
    return report.at(kBackupHeadline) == NSBundle::mainBundle().localizedStringForKey(kMade);
}
