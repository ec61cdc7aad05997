#include "HostServices.h"

#include "Interruption.h"
#include "NSLog.h"

#include <chrono>

namespace {

/// Often enough for a lock that comes free, and seldom enough for the processor.
void pauseBetweenLockAttempts()
{
    sleepUnlessInterrupted(std::chrono::milliseconds(5));
}

} // namespace

SynchronizeFilesHost HostServices::forAction()
{
    return { { events_, locks_, files_, clock_ }, alerts_, pauseBetweenLockAttempts };
}

std::optional<NSData> HostServices::NotingFileManager::dataWithContentsOfFile(const std::string& path)
{
    throwIfInterrupted();
    return files.dataWithContentsOfFile(path);
}

bool HostServices::NotingFileManager::writeToFile(const NSData& data, const std::string& path, std::string* reason)
{
    std::string ownReason;
    const bool written = files.writeToFile(data, path, &ownReason);
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
