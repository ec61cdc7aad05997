#include "HostServices.h"

#include "CarriedWhole.h"
#include "ExtraStringUtilities.h"
#include "Interruption.h"
#include "NSLog.h"

namespace {

constexpr char kNotAllCarried[] = "not all of it can be carried over. ";

/// The report's text, which goes on with advice in further paragraphs.
std::string firstParagraph(const ExtraStringUtilities::BackupReport& report)
{
    const std::string& text = report.at(ExtraStringUtilities::kBackupText);
    return text.substr(0, text.rfind("\n\n"));
}

} // namespace

SynchronizeFilesHost HostServices::forAction()
{
    return { { events_, locks_, files_, clock_ }, alerts_, pauseUnlessInterrupted };
}

std::optional<NSData> HostServices::NotingFileManager::dataWithContentsOfFile(const std::string& path)
{
    throwIfInterrupted();
    std::optional<NSData> data = files.dataWithContentsOfFile(path);
    if (data && !isCarriedWhole(*data))
        losingPaths.insert(path);
    else
        losingPaths.erase(path);
    return data;
}

/// False with the reason if the file would lose bytes and no copy of them could be made.
bool HostServices::NotingFileManager::keepOldBytes(const std::string& path, std::string& reason)
{
    if (!losingPaths.contains(path))
        return true;
    const ExtraStringUtilities::BackupReport report = ExtraStringUtilities::makeBackupCopy(path, items);
    const std::string text = kNotAllCarried + firstParagraph(report);
    if (!ExtraStringUtilities::isBackupMade(report)) {
        reason = "not replaced: " + text;
        return false;
    }
    backedUp.push_back({ path, text });
    losingPaths.erase(path);
    return true;
}

bool HostServices::NotingFileManager::writeToFile(const NSData& data, const std::string& path, std::string* reason)
{
    std::string ownReason;
    const bool written = keepOldBytes(path, ownReason) && files.writeToFile(data, path, &ownReason);
    if (!written)
        notReplaced.push_back({ path, ownReason });
    if (reason != nullptr)
        *reason = ownReason;
    return written;
}

void HostServices::LoggingAlertPresenter::runModal(const NSAlert& alert)
{
    NSLog(alert.messageText + " " + alert.informativeText);
}
