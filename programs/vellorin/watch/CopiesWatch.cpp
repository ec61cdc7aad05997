#include "CopiesWatch.h"

#include "Console.h"
#include "Json.h"
#include "TimeText.h"
#include "VaultContents.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <ctime>
#include <utility>

namespace {

constexpr char kStillDiffer[]
    = "The files still differ after all runs, and grow by each: a record may stand in two categories.";

void note(WatchRound& round, const std::string& trouble, int status)
{
    round.troubles.push_back(printable(trouble));
    round.status = std::max(round.status, status);
}

bool hasWritten(const CopiesReport& report)
{
    return std::any_of(report.runs.begin(), report.runs.end(),
        [](const SyncReport& run) { return run.outcome == SyncReport::Outcome::Done; });
}

WatchSchedule::Outcome outcomeOf(const CopiesReport& report)
{
    if (!report.equal)
        return WatchSchedule::Outcome::StillDiffer;
    return hasWritten(report) ? WatchSchedule::Outcome::Written : WatchSchedule::Outcome::InStep;
}

} // namespace

CopiesWatch::CopiesWatch(const SyncOptions& options, const Json& json, Journal& journal, Console& console)
    : options_(options)
    , json_(json)
    , journal_(journal)
    , console_(console)
{
}

WatchRound CopiesWatch::synchronise(const std::vector<std::string>& present)
{
    WatchRound round;
    round.outcome = WatchSchedule::Outcome::Failed;
    const std::vector<std::string> paths = readable(present, round);
    const CopiesReport report = paths.size() > 1 ? synchroniseReadable(paths, round) : CopiesReport {};
    if (hasWritten(report))
        console_.workIsDone();
    tell(report);
    if (json_.isWanted)
        tellPrograms(round, report);
    return round;
}

std::vector<std::string> CopiesWatch::readable(const std::vector<std::string>& paths, WatchRound& round) const
{
    std::vector<std::string> result;
    for (const std::string& path : paths) {
        try {
            static_cast<void>(readVault(path));
            result.push_back(path);
        } catch (const CommandFailure& failure) {
            note(round, failure.what(), failure.status());
        }
    }
    return result;
}

/// Without paths if it failed before anything was written.
CopiesReport CopiesWatch::synchroniseReadable(const std::vector<std::string>& paths, WatchRound& round)
{
    try {
        CopiesReport report = synchronizeCopies(paths, options_, journal_, console_);
        round.outcome = outcomeOf(report);
        if (!report.equal)
            note(round, kStillDiffer, kLookAtIt);
        round.status = std::max<int>(round.status, report.status());
        return report;
    } catch (const CopiesFailure& failure) {
        round.outcome = WatchSchedule::Outcome::StillDiffer;
        note(round, failure.what(), failure.status());
        return failure.done;
    } catch (const CommandFailure& failure) {
        if (failure.status() == kHalfWritten)
            round.outcome = WatchSchedule::Outcome::StillDiffer;
        note(round, failure.what(), failure.status());
    }
    return {};
}

void CopiesWatch::tell(const CopiesReport& report) const
{
    for (const SyncReport& run : report.runs) {
        if (run.outcome != SyncReport::Outcome::Done)
            continue;
        for (const std::string& sentence : run.sentences)
            console_.say(sentence + ".");
        if (!run.keptTwice.empty())
            console_.say(counted(run.keptTwice.size(), "pair of records is", "pairs of records are") + " kept twice in "
                + printable(run.first.path) + " and " + printable(run.second.path) + "; look at them.");
    }
}

void CopiesWatch::tellPrograms(const WatchRound& round, const CopiesReport& report)
{
    const bool isOther = std::exchange(troublesTold_, round.troubles) != round.troubles;
    if (!json_.inAnyCase && !hasWritten(report) && !isOther)
        return;
    nlohmann::ordered_json document = jsonDocument("watch");
    document["time"] = utcTimeText(std::time(nullptr));
    document["status"] = round.status;
    document["troubles"] = round.troubles;
    if (!report.paths.empty())
        document.update(jsonOf(report));
    printJson(console_, document);
}
