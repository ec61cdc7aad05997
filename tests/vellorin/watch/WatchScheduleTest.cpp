#include "WatchSchedule.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Time = WatchSchedule::Time;
using Outcome = WatchSchedule::Outcome;

/// Lives through times in steps of 100 ms and writes down when it looks (only where wanted) and synchronises.
class Life {
public:
    explicit Life(const WatchSchedule::Times& times = { Time(1000), Time(10'000), Time(20'000) })
        : schedule(times, Time::zero())
    {
    }

    /// The times of the rounds until then, each of which ends at once like this, in tenths of a second.
    std::string roundsUntil(int tenths, Outcome outcome)
    {
        std::string rounds;
        for (; now <= Time(tenths * 100); now += Time(100)) {
            if (now.count() % 1000 == 0 && isChangedEachSecond)
                schedule.fileChanged(now);
            while (schedule.nextStep(now) != WatchSchedule::Step::Wait) {
                if (schedule.nextStep(now) == WatchSchedule::Step::Look) {
                    schedule.looked(now);
                    ++looks;
                } else {
                    rounds += std::to_string(now.count() / 100) + " ";
                    schedule.roundEnded(outcome, now);
                }
            }
        }
        return rounds;
    }

    void change() { schedule.fileChanged(now); }

    WatchSchedule schedule;
    Time now {};
    int looks = 0;
    bool isChangedEachSecond = false;
};

TEST(WatchSchedule, BeginsWithARoundAndThenOnlyLooks)
{
    Life life;
    EXPECT_EQ(life.roundsUntil(1000, Outcome::InStep), "10 ");
    EXPECT_EQ(life.looks, 1 + 1 + 9); // at once, before the round, every ten seconds
}

TEST(WatchSchedule, NoRoundWithoutALookBeforeIt)
{
    WatchSchedule schedule({ Time(1000), Time(10'000), Time(20'000) }, Time(0));
    EXPECT_EQ(schedule.nextStep(Time(5000)), WatchSchedule::Step::Look);
    schedule.fileChanged(Time(5000)); // the look has found a change: not at rest
    schedule.looked(Time(5000));
    EXPECT_EQ(schedule.nextStep(Time(5000)), WatchSchedule::Step::Wait);
    EXPECT_EQ(schedule.nextTime(), Time(6000));
    EXPECT_EQ(schedule.nextStep(Time(6000)), WatchSchedule::Step::Look);
    schedule.looked(Time(6000));
    EXPECT_EQ(schedule.nextStep(Time(6000)), WatchSchedule::Step::Synchronise);
}

struct PauseCase {
    const char* name;
    Outcome outcome;
    const char* rounds; // pauses that double from 1 to 20 seconds
};

const PauseCase kPauseCases[] = {
    { "failures", Outcome::Failed, "10 20 40 80 160 320 520 720 920 " },
    { "writes that never end", Outcome::Written, "10 20 40 80 160 320 520 720 920 " },
    { "differences that never end", Outcome::StillDiffer, "10 20 40 80 160 320 520 720 920 " },
};

TEST(WatchSchedule, WhatCantBeSettledIsRepeatedWithGrowingPauses)
{
    for (const PauseCase& row : kPauseCases) {
        Life life;
        EXPECT_EQ(life.roundsUntil(1000, row.outcome), row.rounds) << row.name;
    }
}

TEST(WatchSchedule, AChangeEndsThePauseOfAFailure)
{
    Life life;
    life.roundsUntil(200, Outcome::Failed);
    life.change(); // at 20.1, long before the next attempt at 32
    EXPECT_EQ(life.roundsUntil(300, Outcome::Failed), "211 221 241 281 ");
}

TEST(WatchSchedule, TwoWatchesDontMakeFilesGrowInTurns)
{
    Life life({ Time(500), Time(10'000), Time(20'000) });
    life.isChangedEachSecond = true; // as if the other one wrote
    EXPECT_EQ(life.roundsUntil(700, Outcome::StillDiffer), "5 15 25 45 85 165 325 525 ");
    EXPECT_EQ(life.roundsUntil(736, Outcome::InStep), "725 735 "); // and back to the usual pace
}

TEST(WatchSchedule, UnrestIsTold)
{
    Life life;
    life.isChangedEachSecond = true;
    EXPECT_EQ(life.roundsUntil(3, Outcome::InStep), "");
    EXPECT_EQ(life.schedule.restlessSince(), Time(0));
    life.isChangedEachSecond = false;
    life.roundsUntil(50, Outcome::InStep);
    EXPECT_FALSE(life.schedule.restlessSince());
}

} // namespace
