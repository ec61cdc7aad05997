#pragma once

#include "AppleEventSystem.h"
#include "CFAbsoluteTime.h"
#include "FinderInfo.h"
#include "NSAlert.h"
#include "NSAutoreleasePool.h"
#include "NSDistributedLock.h"
#include "NSFileManager.h"
#include "StagedFiles.h"
#include "SyncPlan.h"
#include "SynchronizeFiles.h"

#include <deque>
#include <optional>
#include <utility>

class Console;

/// Whom the action talks to. What they need of the system they have asked for when they are made, before the process is
/// confined.
struct ActionPartners {
    AppleEventSystem& events;
    LockSystem& locks;
    const CFClock& clock;
    void (*pauseBetweenLockAttempts)();
};

/// Those of Linux.
ActionPartners& linuxPartners();

/// Gives back the locks and lets the application have the files again. What fails here comes too late for a result, and
/// is told.
void endSenders(NSAutoreleasePool& senders, Console& console);

/// The action on the two files of a plan, with writes that are staged. Locks are held, and the application stays away
/// from the files, until `end` or the end of the object.
class ActionRun {
public:
    /// Everything is borrowed.
    ActionRun(const ActionPartners& partners, const SyncPlan& plan, StagedFiles& staged, Console& console);
    ~ActionRun();
    ActionRun(const ActionRun&) = delete;
    ActionRun& operator=(const ActionRun&) = delete;

    /// Raises: FileChanged if a file doesn't hold the plan's bytes; CommandFailure (kFailed) with the action's failure
    /// in words. Throws Interrupted.
    void run();

    /// What was read back of the files' new selves, handed over.
    NSData takeNewFirst() { return std::exchange(files_.newFirst, std::nullopt).value(); }
    NSData takeNewSecond() { return std::exchange(files_.newSecond, std::nullopt).value(); }

    /// endSenders, once.
    void end();

private:
    /// Reads what the plan has read, and stages what is written.
    class StagingFileManager final : public NSFileManager {
    public:
        StagingFileManager(const SyncPlan& plan, StagedFiles& staged);

        bool fileExistsAtPath(const std::string& path) override { return files.fileExistsAtPath(path); }
        std::optional<NSData> dataWithContentsOfFile(const std::string& path) override;
        bool writeToFile(const NSData& data, const std::string& path, std::string* reason) override;

        std::optional<NSData> newFirst;
        std::optional<NSData> newSecond;

        /// The action sets a type behind each write: of the new self, and not of the old file that stands there yet.
        std::deque<FinderInfo::StNewSelf> newSelves;

    private:
        const SyncPlan& plan;
        StagedFiles& staged;
        LinuxFileManager files;
        const std::string firstPath; // as the action says it
        const std::string secondPath;
    };

    /// A run reports by its result alone.
    class NoAlerts final : public NSAlertPresenter {
    public:
        void runModal(const NSAlert&) override { }
    };

    const SyncPlan& plan_;
    Console& console_;
    StagingFileManager files_;
    NoAlerts alerts_;
    SynchronizeFiles action_;
    NSAutoreleasePool senders_; // ends before what the senders work with
};
