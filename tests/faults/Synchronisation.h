#pragma once

#include "NSAlert.h"
#include "NSAutoreleasePool.h"
#include "NSException.h"
#include "NSLog.h"
#include "StandIns.h"
#include "SynchronizeFiles.h"

#include <set>
#include <string>

/// The file manager of Linux, and a note of each file that it could not replace as it should.
class NotingFiles final : public NSFileManager {
public:
    bool fileExistsAtPath(const std::string& path) override { return files.fileExistsAtPath(path); }
    std::optional<NSData> dataWithContentsOfFile(const std::string& path) override
    {
        return files.dataWithContentsOfFile(path);
    }
    bool writeToFile(const NSData& data, const std::string& path, std::string*) override
    {
        std::string reason;
        const bool replaced = files.writeToFile(data, path, &reason);
        if (!replaced)
            notReplaced.insert(path);
        return replaced;
    }

    LinuxFileManager files;
    std::set<std::string> notReplaced;
};

class NoAlerts final : public NSAlertPresenter {
public:
    void runModal(const NSAlert&) override { }
};

/// Runs of the action as vellorin-sync makes them, over the file system calls in place and without a running application.
class Synchronisation {
public:
    /// `clock` must outlive the object.
    explicit Synchronisation(const CFClock& clock, void (*pause)() = [] {}) : clock(clock), pause(pause) { }

    /// The result text. Passes on what vellorin-sync would end with as a foreign failure, with the senders ended.
    std::string run(const std::string& first, const std::string& second)
    {
        EventSystemStandIn events;
        events.running.clear();
        LinuxLockSystem locks;
        NotingFiles files;
        NoAlerts alerts;
        SynchronizeFiles action({ { events, locks, files, clock }, alerts, pause });
        NSAutoreleasePool senders;
        AMErrorDictionary error;
        std::string result;
        try {
            result = action.runWithInput(AMInput(std::vector<std::string> { first, second }), nullptr, error);
        } catch (...) {
            senders.drain();
            throw;
        }
        senders.drain();
        notReplaced = files.notReplaced;
        return result;
    }

    std::set<std::string> notReplaced; // by the last run

private:
    const CFClock& clock;
    void (*pause)();
};

/// Keeps log lines from the test's output.
class StNoLog {
public:
    StNoLog() : before(setLogSink([](std::string_view) {})) { }
    ~StNoLog() { setLogSink(before); }
    StNoLog(const StNoLog&) = delete;
    StNoLog& operator=(const StNoLog&) = delete;

private:
    NSLogSink before;
};
