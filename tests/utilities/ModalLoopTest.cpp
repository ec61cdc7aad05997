#include "ExtraContainerUtilities.h"
#include "UtilityStandIns.h"

#include <gtest/gtest.h>

#include <optional>

namespace utility_receivers {

struct NoController {
    virtual ~NoController() = default;
};

} // namespace utility_receivers

namespace {

using namespace ExtraContainerUtilities;
using utility_receivers::NoController;

/// A program with one window; its session goes on for a number of rounds, unless it is stopped before.
class DesktopStandIn final : public NSApplication, public NSWindowController, public NSWindow, public NSModalSession {
public:
    NSWindow& window() override { return *this; }
    void center() override { asked += "center "; }
    void activate() override { asked += "activate "; }
    NSModalSession& beginModalSessionForWindow(NSWindow&) override
    {
        asked += "begin ";
        return *this;
    }
    int64_t runModalSession(NSModalSession&) override
    {
        ++rounds;
        return stopped ? *stopped : rounds < roundsOfUser ? -1002 : 17;
    }
    void stopModalWithCode(int64_t code) override
    {
        asked += "stop ";
        stopped = code;
    }
    void endModalSession(NSModalSession&) override { asked += "end "; }

    std::string asked;
    int rounds = 0;
    int roundsOfUser = 1000;
    std::optional<int64_t> stopped;
};

/// Goes on by a second at each look.
class SecondsStandIn final : public CFClock {
public:
    CFAbsoluteTime CFAbsoluteTimeGetCurrent() const override { return now++; }
    mutable CFAbsoluteTime now = 5000;
};

struct LoopCase {
    const char* name;
    int roundsOfUser;
    int abortInRound; // 0: no selector
    int64_t response;
    int rounds;
    const char* asked;
};

TEST(ModalLoop, EndsByItsAnswerItsSelectorOrItsTime)
{
    const LoopCase kCases[] = {
        { "answered at once", 1, 0, 17, 1, "center activate begin " },
        { "answered later", 3, 0, 17, 3, "center activate begin " },
        { "aborted", 1000, 4, 0, 4, "center activate begin stop " },
        { "answered before the abort", 3, 4, 17, 3, "center activate begin " },
        { "after 120 seconds, at the deadline itself", 1000, 0, 0, 120, "center activate begin stop " },
    };
    for (const LoopCase& c : kCases) {
        SCOPED_TRACE(c.name);
        DesktopStandIn desktop;
        desktop.roundsOfUser = c.roundsOfUser;
        const SecondsStandIn clock;
        SleeperStandIn sleeper;
        NSModalSession* session = nullptr;
        int asked = 0;
        const AbortSelector abort = [&](NSWindowController& controller) {
            EXPECT_EQ(&controller, &desktop);
            EXPECT_EQ(session, &desktop); // handed over before the first round
            return ++asked == c.abortInRound;
        };
        const ModalLoopServices services { desktop, clock, sleeper };
        EXPECT_EQ(c.abortInRound > 0 ? modalLoopWithTimeout(desktop, session, abort, services)
                                     : modalLoopWithTimeout(desktop, session, services),
            c.response);
        EXPECT_EQ(desktop.rounds, c.rounds);
        EXPECT_EQ(desktop.asked, c.asked); // never "end"
        EXPECT_EQ(sleeper.slept, std::vector<int64_t>(static_cast<std::size_t>(c.rounds), 1000));
    }
}

TEST(ModalLoop, TheSelectorIsNotAskedPastTheDeadline)
{
    DesktopStandIn desktop;
    const SecondsStandIn clock;
    SleeperStandIn sleeper;
    NSModalSession* session = nullptr;
    int asked = 0;
    const auto goOn = [&](NSWindowController&) { return ++asked < 0; };
    EXPECT_EQ(modalLoopWithTimeout(desktop, session, goOn, { desktop, clock, sleeper }), 0);
    EXPECT_EQ(asked, 119);
}

TEST(ModalLoop, OnlyWindowControllersHaveOne)
{
    DesktopStandIn desktop;
    const SecondsStandIn clock;
    SleeperStandIn sleeper;
    NSModalSession* session = nullptr;
    const ModalLoopServices services { desktop, clock, sleeper };
    NoController none;
    EXPECT_EQ(raisedBy([&] { modalLoopWithTimeout(none, session, services); }),
        inconsistency("utility_receivers::NoController is not kind of NSWindowController "
                      "(-[NSObject(ExtraContainerUtilities) modalLoopWithTimeout:abortSelector:])",
            "modalLoopWithTimeout:abortSelector:", 246));
    EXPECT_EQ(session, nullptr);
    EXPECT_EQ(desktop.asked, "");
    NSWindow& somethingElse = desktop; // which happens to be a window controller too
    desktop.roundsOfUser = 1;
    EXPECT_EQ(modalLoopWithTimeout(somethingElse, session, services), 17);
}

} // namespace
