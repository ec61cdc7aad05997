#include "WatchLoop.h"
#include "Interruption.h"

#include <gtest/gtest.h>

#include <csignal>
#include <map>

namespace {

using Time = WatchSchedule::Time;
using Outcome = WatchSchedule::Outcome;

/// A world of two or three files with a clock of its own. What is to happen at a time stands in `plan`.
class World final : public FileEvents {
public:
    std::map<std::string, std::string> follow() override { return unwatched; }

    bool wait(std::chrono::milliseconds atMost) override
    {
        const Time until = now + atMost;
        while (!plan.empty() && plan.begin()->first <= until) {
            now = std::max(now, plan.begin()->first);
            const auto happens = plan.extract(plan.begin());
            happens.mapped()();
            if (std::exchange(isTold, false))
                return true;
        }
        now = std::max(now, until);
        if (now >= end)
            throw Interrupted(SIGTERM);
        return std::exchange(isTold, false);
    }

    void change(const std::string& file, bool told = true)
    {
        files[file] = FileStamp { 1, ++lastFile, 10, 0, 0 };
        isTold |= told;
    }

    void runUntil(int64_t milliseconds, std::vector<std::string> paths = { "a", "b" })
    {
        end = Time(milliseconds);
        WatchLoop::Partners partners { *this, [this] { return now; },
            [this](const std::string& path) {
                const auto found = files.find(path);
                return found == files.end() ? std::nullopt : std::optional(found->second);
            },
            [this](const std::vector<std::string>& present) { return synchronise(present); },
            [this](const std::string& line) { said += line + "\n"; },
            [this](const std::string& line) { said += "!" + line + "\n"; } };
        WatchLoop loop(std::move(paths), { Time(1000), Time(10'000), Time(60'000) }, partners);
        EXPECT_THROW(loop.run(), Interrupted);
    }

    WatchRound synchronise(const std::vector<std::string>& present)
    {
        rounds += std::to_string(now.count()) + ":";
        for (const std::string& path : present)
            rounds += path;
        rounds += " ";
        const WatchRound round = outcomeOf();
        return round;
    }

    std::map<Time, std::function<void()>> plan;
    std::map<std::string, FileStamp> files { { "a", {} }, { "b", {} } };
    std::function<WatchRound()> outcomeOf = [] { return WatchRound {}; };
    std::map<std::string, std::string> unwatched;
    std::string rounds;
    std::string said;
    Time now {};
    Time end {};
    bool isTold = false;
    uint64_t lastFile = 1;
};

TEST(WatchLoop, SynchronisesWhatChangedAndCameToRest)
{
    World world;
    world.plan[Time(3000)] = [&] { world.change("a"); };
    world.plan[Time(3500)] = [&] { world.change("a"); };
    world.runUntil(9000);
    EXPECT_EQ(world.rounds, "1000:ab 4500:ab ");
}

TEST(WatchLoop, WithoutEventsTheRescanFindsChanges)
{
    World world;
    world.unwatched = { { "/net", "No space left on device" } };
    world.plan[Time(3000)] = [&] { world.change("a", /*told=*/false); };
    world.runUntil(30'000);
    EXPECT_EQ(world.rounds, "1000:ab 12000:ab "); // looked at 1 and 11 seconds
    EXPECT_EQ(
        world.said, "/net: its events can't be had (No space left on device); it is looked at from time to time\n");
}

TEST(WatchLoop, LostEventsMakeARoundEvenIfNothingShows)
{
    World world;
    world.plan[Time(3000)] = [&] { world.isTold = true; };
    world.runUntil(9000);
    EXPECT_EQ(world.rounds, "1000:ab 4000:ab ");
}

TEST(WatchLoop, ItsOwnWritesMakeOneRoundMore)
{
    World world;
    int writes = 1;
    world.outcomeOf = [&] {
        if (writes-- <= 0)
            return WatchRound {};
        world.change("a");
        world.change("b");
        return WatchRound { Outcome::Written, 0, {} };
    };
    world.runUntil(100'000);
    EXPECT_EQ(world.rounds, "1000:ab 2000:ab ");
}

TEST(WatchLoop, AChangeDuringARoundIsNotLost)
{
    World world;
    bool isFirst = true;
    world.outcomeOf = [&] {
        if (std::exchange(isFirst, false))
            world.change("a");
        return WatchRound {};
    };
    world.runUntil(9000);
    EXPECT_EQ(world.rounds, "1000:ab 2000:ab ");
}

TEST(WatchLoop, AFailureIsSaidOnceAndItsOwnEventsDontRepeatIt)
{
    World world;
    world.outcomeOf = [&] {
        ++world.files["a"].statusChanged; // put aside, and back
        world.isTold = true;
        return WatchRound { Outcome::Failed, 3, { "a: no space" } };
    };
    world.plan[Time(40'000)] = [&] { world.outcomeOf = [] { return WatchRound {}; }; };
    world.runUntil(80'000);
    EXPECT_EQ(world.rounds, "1000:ab 2000:ab 4000:ab 8000:ab 16000:ab 32000:ab 64000:ab ");
    EXPECT_EQ(world.said, "!a: no space\nAll is in step again.\n");
}

TEST(WatchLoop, MissingFilesAreLeftOut)
{
    World world;
    world.files["c"] = {};
    world.plan[Time(3000)] = [&] {
        world.files.erase("b");
        world.isTold = true;
    };
    world.plan[Time(6000)] = [&] {
        world.files.erase("c");
        world.isTold = true;
    };
    world.plan[Time(9000)] = [&] { world.change("b"); };
    world.runUntil(15'000, { "a", "b", "c" });
    EXPECT_EQ(world.rounds, "1000:abc 4000:ac 10000:ab ");
    EXPECT_EQ(world.said,
        "b: is not there, and left out until it is\nc: is not there, and left out until it is\nThere is nothing to "
        "synchronise until two of the files are there.\nb: is there again\n");
}

TEST(WatchLoop, AnEndlessUnrestIsSaidOnce)
{
    World world;
    for (int64_t second = 0; second < 1300; ++second)
        world.plan[Time(second * 900)] = [&] { world.change("a"); };
    world.runUntil(1'000'000);
    EXPECT_EQ(world.rounds, "");
    EXPECT_EQ(world.said, "The files have not come to rest for a long time; they are synchronised when they do.\n");
}

} // namespace
