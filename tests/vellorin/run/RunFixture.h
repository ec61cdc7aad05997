#pragma once

#include "ActionRun.h"
#include "Console.h"
#include "ExitStatus.h"
#include "Journal.h"
#include "NSLog.h"
#include "ScratchFolder.h"
#include "StandIns.h"
#include "SyncRun.h"
#include "VaultBytes.h"
#include "VaultHistory.h"

#include <gtest/gtest.h>

#include <string>

/// Partners without a bus, and a clock that makes the wait for a lock short.
class PartnersOfTests {
public:
    PartnersOfTests()
    {
        events.running.clear();
        clock.step = 1;
    }

    EventSystemStandIn events;
    LinuxLockSystem locks;
    ClockStandIn clock;
    ActionPartners all { events, locks, clock, [] {} };
};

/// Whoever holds no terminal hears nothing.
class QuietConsole : public Console {
public:
    QuietConsole()
        : Console("test")
    {
        setManner({ true, false });
    }
};

/// Runs in this process, with partners of the tests', of which nothing is heard.
class QuietRuns : public ::testing::Test {
protected:
    QuietRuns() { options.partners = &partners.all; }
    ~QuietRuns() override { setLogSink(logBefore); }

    PartnersOfTests partners;
    QuietConsole console;
    SyncOptions options;

private:
    NSLogSink logBefore = setLogSink([](std::string_view) {});
};

/// Runs on real files in a scratch folder, with a journal beside them.
class RunFixture : public QuietRuns {
protected:
    SyncReport sync(const std::string& first, const std::string& second)
    {
        return synchronizeFiles(folder.path(first), folder.path(second), options, journal, console);
    }

    /// "2: message" of the failure, with the folder's path taken out; "0" without one.
    std::string failureOf(const std::function<void()>& work) const
    {
        try {
            work();
        } catch (const CommandFailure& failure) {
            std::string text = failure.what();
            const std::string path = folder.path("");
            for (std::size_t at = text.find(path); at != std::string::npos; at = text.find(path))
                text.erase(at, path.size());
            return std::to_string(failure.status()) + ": " + text;
        }
        return "0";
    }

    ScratchFolder folder { folderInMemory() };
    ScratchFolder state { folderInMemory() };
    Journal journal { state.path("journal") };
};
