#include "ConduitSynchronizeSender.h"
#include "DocumentLock.h"
#include "NSException.h"
#include "NSURL.h"
#include "ScratchFolder.h"
#include "StandIns.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class Delegate final : public ConduitSynchronizeSenderDelegate {
public:
    bool startSyncIdling(int64_t secondsLeft) override
    {
        asked.push_back(secondsLeft);
        if (onIdle)
            onIdle();
        return answer;
    }

    std::vector<int64_t> asked;
    bool answer = true;
    std::function<void()> onIdle;
};

class Sender : public ::testing::Test {
protected:
    /// Makes a sender and ends it; what was raised on the way, as "name|reason".
    std::string run() { return run(NSURL::fileURLWithPath(file).urlString()); }
    std::string run(const std::string& url)
    {
        std::string raised;
        NSAutoreleasePool pool;
        try {
            ConduitSynchronizeSender::conduitSynchronizeSenderWithFilePath(
                url, delegate, { events, locks, files, clock });
            heldInBetween = locks.locks.size();
        } catch (const NSException& exception) {
            raised = exception.name() + "|" + exception.reason();
        }
        try {
            pool.drain();
        } catch (const NSException& exception) {
            raised += " END " + exception.name() + "|" + exception.reason();
        }
        return raised;
    }

    ScratchFolder folder;
    std::string file = folder.write("a b.vlr", "x");
    std::string lock = folder.path(".a b.vlr");
    EventSystemStandIn events;
    LockSystemStandIn locks;
    LinuxFileManager files;
    ClockStandIn clock;
    Delegate delegate;
    std::size_t heldInBetween = 0;
};

TEST_F(Sender, AnEventIsTheVeryBytes)
{
    events.answers(false);
    EXPECT_EQ(run(), "");
    ASSERT_EQ(events.sentIDs(), "A"); // no stop event is owed
    const AppleEvent& event = events.sent[0];
    EXPECT_EQ(event.eventClass, 0x53683131u);
    EXPECT_EQ(event.eventID, 0x53796E41u);
    EXPECT_EQ(event.returnID, -1);
    EXPECT_EQ(event.transactionID, 0);
    EXPECT_EQ(event.targetDescriptor.descriptorType(), 0x70736E20u);
    EXPECT_EQ(event.targetDescriptor.data(), std::string("\0\0\0\0\1\2\3\4", 8));
    ASSERT_EQ(event.parameters.size(), 1u);
    const NSAppleEventDescriptor* const list = event.paramDescriptorForKeyword(0x2D2D2D2D);
    ASSERT_EQ(list->items().size(), 1u);
    EXPECT_EQ(list->items()[0].descriptorType(), 0x6675726Cu);
    EXPECT_EQ(list->items()[0].data(), "file://" + folder.path("a%20b.vlr"));
}

TEST_F(Sender, AStopEventIsOwedForAYes)
{
    const auto nothing = [] {};
    const struct {
        const char* name;
        bool isRunning;
        bool goesOn;
        std::function<void()> onIdle;
        std::string raised, sent, asked;
    } kCases[] = {
        { "nobody runs", false, true, nothing, "", "", "try " + lock + "; unlock " + lock + "; " },
        { "behind the lock", true, true, nothing, "", "AB", "try " + lock + "; unlock " + lock + "; " },
        { "the application has quit", true, true, [&] { events.running.clear(); }, "", "A",
            "try " + lock + "; unlock " + lock + "; " },
        { "the delegate says no: neither lock nor failure", true, false, nothing, "", "AB", "" },
        { "a stop that fails comes out of the scope", true, true, [&] { events.error = -600; },
            " END -[ConduitSynchronizeSender sendStopSynchronizationEvent]:210|sendStop: Unable to AESend. (-600)",
            "AB", "try " + lock + "; unlock " + lock + "; " },
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        events = EventSystemStandIn();
        events.answers(true);
        if (!c.isRunning)
            events.running.clear();
        delegate.answer = c.goesOn;
        delegate.onIdle = c.onIdle;
        delegate.asked.clear();
        locks.asked.clear();
        EXPECT_EQ(run(), c.raised);
        EXPECT_EQ(events.sentIDs(), c.sent);
        EXPECT_EQ(locks.asked, c.asked);
        EXPECT_EQ(delegate.asked, std::vector<int64_t> { 15 });
    }
}

TEST_F(Sender, TheWaitForTheLockEndsAndForgetsTheStopEvent)
{
    events.answers(true);
    locks.locks.insert(lock);
    clock.step = 0.5;
    EXPECT_EQ(run(),
        "-[ConduitSynchronizeSender lockDocument]:228|It appears your Vellorin file is open by another program.  Please "
        "close the file.  If the file is not open, try opening it in Vellorin and closing it again.");
    EXPECT_EQ(events.sentIDs(), "A");
    EXPECT_EQ(delegate.asked.front(), 14);
    EXPECT_EQ(delegate.asked.back(), 0);
    EXPECT_EQ(delegate.asked.size(), 30u);
    EXPECT_EQ(locks.locks.size(), 1u); // the other program's
}

TEST_F(Sender, ALockThatComesFreeInTimeIsTaken)
{
    events.running.clear();
    locks.locks.insert(lock);
    clock.step = 1;
    delegate.onIdle = [&] {
        if (delegate.asked.size() == 5)
            locks.locks.clear();
    };
    EXPECT_EQ(run(), "");
    EXPECT_EQ(heldInBetween, 1u);
}

TEST_F(Sender, AFileThatWentMeanwhileStillGetsItsStopEvent)
{
    events.answers(true);
    EXPECT_EQ(run(NSURL::fileURLWithPath(folder.path("gone")).urlString()),
        "-[ConduitSynchronizeSender lockDocument]:219|The file specified in the file synchronization preferences does "
        "not appear to exist.  It may have been moved or renamed.  Please re-specify the file in the conduit "
        "preferences.");
    EXPECT_EQ(events.sentIDs(), "AB");
}

TEST_F(Sender, FailuresOfTheStartExchange)
{
    constexpr char kCreate[] = "-[ConduitSynchronizeSender createSynchronizationEvent:eventID:]:";
    constexpr char kStart[] = "-[ConduitSynchronizeSender sendStartSynchronizationEvent]:";
    const auto nonsense = NSAppleEventDescriptor::descriptorWithDescriptorType(fourCharCode("utf8"), "yes");
    const struct {
        std::function<void()> fault;
        std::string raised;
    } kCases[] = {
        { [&] { events.failsToMakeList = true; }, std::string(kCreate) + "127|Unable to AECreateList" },
        { [&] { events.failsToMakeDescriptor = true; }, std::string(kCreate) + "143|Unable to AECreateDesc" },
        { [&] { events.failsToPut = true; }, std::string(kCreate) + "151|Unable to AEPutParamDesc" },
        { [&] { events.error = -1712; }, std::string(kStart) + "178|sendStart: Unable to AESend. (-1712)" },
        { [] {}, std::string(kStart) + "184|Bad event response from Vellorin. (-1701)" },
        { [&] { events.answer.setDescriptor(nonsense, keyDirectObject); },
            std::string(kStart) + "189|Unable to AEGetParamPtr. (-1700)" },
    };
    for (const auto& c : kCases) {
        events = EventSystemStandIn();
        c.fault();
        EXPECT_EQ(run(), c.raised);
        EXPECT_TRUE(locks.locks.empty());
    }
    events = EventSystemStandIn();
    EXPECT_EQ(run(""), std::string(kCreate) + "131|No path specified in synchronization preferences.");
    EXPECT_EQ(run("no url"), std::string(kCreate) + "137|Invalid file path: <no url>");
}

} // namespace
