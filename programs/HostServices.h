#pragma once

#include "AppleEventSystem.h"
#include "CFAbsoluteTime.h"
#include "NSAlert.h"
#include "NSDistributedLock.h"
#include "NSFileItems.h"
#include "NSFileManager.h"
#include "SynchronizeFiles.h"

#include <set>
#include <string>
#include <vector>

/// The Linux services of the program that hosts the action, put together for one run.
class HostServices {
public:
    /// A file that the platform could not replace as it should, and why.
    struct NotReplaced {
        std::string path;
        std::string reason;
    };

    /// A file that was copied before it was replaced, since not all of it could be carried over, and what became of
    /// that.
    struct BackedUp {
        std::string path;
        std::string report;
    };

    SynchronizeFilesHost forAction();
    const std::vector<NotReplaced>& notReplaced() const { return files_.notReplaced; }
    const std::vector<BackedUp>& backedUp() const { return files_.backedUp; }

private:
    /// The files of Linux, and a note of each that could not be replaced: the action itself does not look. A vault that
    /// would lose bytes by its replacement is backed up first, and not replaced without.
    class NotingFileManager final : public NSFileManager {
    public:
        bool fileExistsAtPath(const std::string& path) override { return files.fileExistsAtPath(path); }
        std::optional<NSData> dataWithContentsOfFile(const std::string& path) override;
        bool writeToFile(const NSData& data, const std::string& path, std::string* reason) override;

        LinuxFileManager files;
        LinuxFileItems items;
        std::vector<NotReplaced> notReplaced;
        std::vector<BackedUp> backedUp;

    private:
        bool keepOldBytes(const std::string& path, std::string& reason);

        std::set<std::string> losingPaths; // as they were last read
    };

    /// Nobody sits before this program; an alert is a line of the log.
    class LoggingAlertPresenter final : public NSAlertPresenter {
    public:
        void runModal(const NSAlert& alert) override;
    };

    LinuxAppleEventSystem events_;
    LinuxLockSystem locks_;
    NotingFileManager files_;
    LinuxClock clock_;
    LoggingAlertPresenter alerts_;
};
