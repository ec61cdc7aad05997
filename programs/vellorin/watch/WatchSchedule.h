#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

/// When a watch looks at its files, and when it synchronises them: decisions alone, with no clock, file or event of its
/// own. Times are counted from any moment, and never go back.
///
/// - A file that changed is synchronised when nothing has happened to any file for `settle`, and a look at that time
///   has found all as they were.
/// - All files are looked at every `rescan`, whatever events say.
/// - A round that wrote is followed by another one, which finds all in step, or what somebody changed in the meantime.
/// - A round that failed or was refused is repeated when a file changes, and with pauses that double up to `longest`.
/// - After rounds that leave files different, the same pauses hold even if files change: two watches that see each
///   other's work would make such files grow as fast as they can.
class WatchSchedule {
public:
    using Time = std::chrono::milliseconds;

    struct Times {
        Time settle { 2000 };
        Time rescan { 60'000 };
        Time longest { 3'600'000 };
    };

    enum class Step {
        Wait,
        Look,
        Synchronise
    };
    enum class Outcome {
        InStep, // nothing had to be written, or there was nothing to synchronise
        Written,
        StillDiffer, // something was written, and the files differ all the same
        Failed // or refused; nothing was written
    };

    /// Begins as if all files had changed just now, and before a first look.
    WatchSchedule(const Times& times, Time now);

    /// Something has happened to a file, or a look has found one that isn't as it was.
    void fileChanged(Time now);

    /// All files have been looked at; `fileChanged` has been called before if one of them has changed.
    void looked(Time now) { lookedAt_ = now; }

    void roundEnded(Outcome outcome, Time now);

    Step nextStep(Time now) const;

    /// Until when there is nothing to do if nothing happens.
    Time nextTime() const;

    /// When the unrest began that keeps a round from its time; absent if all is at rest.
    std::optional<Time> restlessSince() const;

private:
    std::optional<Time> roundDue() const;
    Time pauseAfter(uint32_t rounds) const;

    const Times times_;
    std::optional<Time> restlessSince_;
    Time changedAt_ {}; // the last time, while restless
    std::optional<Time> lookedAt_;
    std::optional<Time> repeatAt_;
    Time notBefore_ {};
    uint32_t roundsWithoutChange_ = 0; // since a file changed or all were in step
    uint32_t differingRounds_ = 0; // since all were in step
};
