#pragma once

#include "HostServices.h"
#include "NSAutoreleasePool.h"
#include "NSException.h"
#include "NSLog.h"
#include "StandIns.h"
#include "SynchronizeFiles.h"

#include <set>
#include <string>

/// Runs of the action with the services of vellorin-sync, over the file system calls in place, by another clock and
/// without a running application.
class Synchronisation {
public:
    /// `clock` must outlive the object.
    explicit Synchronisation(
        const CFClock& clock, void (*pause)() = [] {})
        : clock(clock)
        , pause(pause)
    {
    }

    /// The result text. Passes on what vellorin-sync would end with as a foreign failure, with the senders ended.
    std::string run(const std::string& first, const std::string& second)
    {
        EventSystemStandIn events;
        events.running.clear();
        HostServices services;
        const SynchronizeFilesHost ofProgram = services.forAction();
        const ConduitServices conduit { events, ofProgram.conduit.locks, ofProgram.conduit.files, clock };
        SynchronizeFiles action({ conduit, ofProgram.alerts, pause });
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
        notReplaced.clear();
        for (const HostServices::NotReplaced& file : services.notReplaced())
            notReplaced.insert(file.path);
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
    StNoLog()
        : before(setLogSink([](std::string_view) {}))
    {
    }
    ~StNoLog() { setLogSink(before); }
    StNoLog(const StNoLog&) = delete;
    StNoLog& operator=(const StNoLog&) = delete;

private:
    NSLogSink before;
};
