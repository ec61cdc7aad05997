#include "WatchLoop.h"

#include "Console.h"

#include <algorithm>
#include <utility>

#include <sys/stat.h>

namespace {

constexpr std::size_t kFewest = 2; // files that can be synchronised
constexpr WatchSchedule::Time kLongUnrest { 600'000 };
constexpr int64_t kNanoseconds = 1'000'000'000;

int64_t nanoseconds(const timespec& time)
{
    return int64_t { time.tv_sec } * kNanoseconds + time.tv_nsec;
}

/// Whatever has become of their names and modes.
bool sameContent(std::vector<std::optional<FileStamp>> a, std::vector<std::optional<FileStamp>> b)
{
    for (auto* const stamps : { &a, &b }) {
        for (std::optional<FileStamp>& stamp : *stamps) {
            if (stamp)
                stamp->statusChanged = 0;
        }
    }
    return a == b;
}

} // namespace

std::optional<FileStamp> stampOf(const std::string& path)
{
    struct stat status { };
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return FileStamp { status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim),
        nanoseconds(status.st_ctim) };
}

WatchLoop::WatchLoop(std::vector<std::string> paths, const WatchSchedule::Times& times, Partners partners)
    : paths_(std::move(paths))
    , partners_(std::move(partners))
    , schedule_(times, partners_.now())
{
}

void WatchLoop::run()
{
    for (;;) {
        switch (schedule_.nextStep(partners_.now())) {
        case WatchSchedule::Step::Look: look(); break;
        case WatchSchedule::Step::Synchronise: synchronise(); break;
        case WatchSchedule::Step::Wait: wait(); break;
        }
    }
}

/// The events first: what happens behind the look is told by them.
void WatchLoop::look()
{
    tellUnwatched(partners_.events.follow());
    Stamps found = presentStamps();
    const WatchSchedule::Time now = partners_.now();
    if (!stamps_ || found != *stamps_) {
        if (stamps_)
            schedule_.fileChanged(now);
        const std::optional<Stamps> before = std::exchange(stamps_, std::move(found));
        tellWhoIsThere(before.value_or(Stamps(paths_.size(), FileStamp {})));
    }
    schedule_.looked(now);
    tellUnrest();
}

void WatchLoop::wait()
{
    const WatchSchedule::Time atMost = schedule_.nextTime() - partners_.now();
    if (!partners_.events.wait(atMost))
        return;
    schedule_.fileChanged(partners_.now());
    look(); // folders that have gone or come are followed at once
}

/// A round that wrote has made events of its own, so that those during it say nothing; the next round, which is due
/// soon, finds what somebody else has changed meanwhile. A failed one may have put files to and fro, so that only their
/// content tells. The events of a round in step are somebody else's.
void WatchLoop::synchronise()
{
    const Stamps before = *stamps_;
    const WatchSchedule::Outcome outcome = runRound();
    schedule_.roundEnded(outcome, partners_.now());
    const bool happened = partners_.events.wait(WatchSchedule::Time::zero());
    stamps_ = presentStamps();
    if ((outcome == WatchSchedule::Outcome::InStep && (happened || *stamps_ != before))
        || (outcome == WatchSchedule::Outcome::Failed && !sameContent(*stamps_, before)))
        schedule_.fileChanged(partners_.now());
    tellWhoIsThere(before);
}

WatchSchedule::Outcome WatchLoop::runRound()
{
    const std::vector<std::string> present = presentPaths();
    if (present.size() < kFewest)
        return WatchSchedule::Outcome::InStep;
    const WatchRound round = partners_.synchronise(present);
    tellTroubles(round.troubles);
    return round.outcome;
}

WatchLoop::Stamps WatchLoop::presentStamps() const
{
    Stamps stamps;
    for (const std::string& path : paths_)
        stamps.push_back(partners_.stampOf(path));
    return stamps;
}

std::vector<std::string> WatchLoop::presentPaths() const
{
    std::vector<std::string> present;
    for (std::size_t i = 0; i < paths_.size(); ++i) {
        if ((*stamps_)[i])
            present.push_back(paths_[i]);
    }
    return present;
}

void WatchLoop::tellWhoIsThere(const Stamps& before)
{
    bool isTold = false;
    for (std::size_t i = 0; i < paths_.size(); ++i) {
        const bool isThere = (*stamps_)[i].has_value();
        if (isThere == before[i].has_value())
            continue;
        partners_.say(
            printable(paths_[i]) + (isThere ? ": is there again" : ": is not there, and left out until it is"));
        isTold = true;
    }
    if (isTold && presentPaths().size() < kFewest)
        partners_.say("There is nothing to synchronise until two of the files are there.");
}

void WatchLoop::tellUnwatched(const std::map<std::string, std::string>& unwatched)
{
    for (const auto& [folder, reason] : unwatched) {
        if (!unwatched_.contains(folder))
            partners_.say(
                printable(folder) + ": its events can't be had (" + reason + "); it is looked at from time to time");
    }
    unwatched_ = unwatched;
}

void WatchLoop::tellTroubles(const std::vector<std::string>& troubles)
{
    if (troubles == troubles_)
        return;
    for (const std::string& trouble : troubles)
        partners_.complain(trouble);
    if (troubles.empty())
        partners_.say("All is in step again.");
    troubles_ = troubles;
}

void WatchLoop::tellUnrest()
{
    const std::optional<WatchSchedule::Time> since = schedule_.restlessSince();
    const bool isLong = since && partners_.now() - *since > kLongUnrest;
    if (isLong && !isUnrestTold_)
        partners_.say("The files have not come to rest for a long time; they are synchronised when they do.");
    isUnrestTold_ = isLong;
}
