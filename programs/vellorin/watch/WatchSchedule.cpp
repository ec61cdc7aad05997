#include "WatchSchedule.h"

#include <algorithm>

namespace {

constexpr WatchSchedule::Time kShortestPause { 100 }; // what begins at nothing doesn't double

} // namespace

WatchSchedule::WatchSchedule(const Times& times, Time now)
    : times_(times)
    , restlessSince_(now)
    , changedAt_(now)
{
}

void WatchSchedule::fileChanged(Time now)
{
    if (!restlessSince_)
        restlessSince_ = now;
    changedAt_ = now;
    roundsWithoutChange_ = 0;
}

void WatchSchedule::roundEnded(Outcome outcome, Time now)
{
    restlessSince_.reset();
    repeatAt_.reset();
    switch (outcome) {
    case Outcome::InStep:
        roundsWithoutChange_ = 0;
        differingRounds_ = 0;
        break;
    case Outcome::Written:
    case Outcome::Failed: repeatAt_ = now + pauseAfter(++roundsWithoutChange_); break;
    case Outcome::StillDiffer:
        notBefore_ = now + pauseAfter(++differingRounds_);
        repeatAt_ = notBefore_;
        break;
    }
}

WatchSchedule::Step WatchSchedule::nextStep(Time now) const
{
    const std::optional<Time> due = roundDue();
    if (due && lookedAt_ && *due <= *lookedAt_)
        return Step::Synchronise;
    return nextTime() <= now ? Step::Look : Step::Wait;
}

WatchSchedule::Time WatchSchedule::nextTime() const
{
    if (!lookedAt_)
        return Time::min();
    const Time look = *lookedAt_ + times_.rescan;
    return std::min(look, roundDue().value_or(look));
}

std::optional<WatchSchedule::Time> WatchSchedule::restlessSince() const
{
    return changedAt_ + times_.settle >= notBefore_ ? restlessSince_ : std::nullopt;
}

std::optional<WatchSchedule::Time> WatchSchedule::roundDue() const
{
    if (restlessSince_)
        return std::max(changedAt_ + times_.settle, notBefore_);
    return repeatAt_;
}

WatchSchedule::Time WatchSchedule::pauseAfter(uint32_t rounds) const
{
    Time pause = std::max(times_.settle, kShortestPause);
    for (uint32_t i = 1; i < rounds && pause < times_.longest; ++i)
        pause *= 2;
    return std::min(pause, times_.longest);
}
