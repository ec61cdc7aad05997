#include "CopiesInStep.h"

#include "Console.h"
#include "FileChecks.h"
#include "Journal.h"
#include "Json.h"
#include "SyncPlan.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

using Runs = std::vector<CopiesSchedule::Run>;

/// The calls by which everybody gets to know everything. `first` is the copy that calls most of the others.
Runs gossip(std::size_t count, std::size_t first)
{
    const auto copy = [&](std::size_t number) { return (first + number) % count; };
    if (count < 2)
        return {};
    if (count == 2)
        return { { 0, 1 } };
    if (count == 3)
        return { { copy(0), copy(1) }, { copy(0), copy(2) }, { copy(0), copy(1) } };
    Runs runs;
    for (std::size_t other = 4; other < count; ++other)
        runs.emplace_back(copy(0), copy(other));
    runs.insert(runs.end(), { { copy(0), copy(1) }, { copy(2), copy(3) }, { copy(0), copy(2) }, { copy(1), copy(3) } });
    for (std::size_t other = 4; other < count; ++other)
        runs.emplace_back(copy(0), copy(other));
    return runs;
}

/// Bytes that outlive the plan.
NSData ownBytesOf(const MergedFile& merged)
{
    const NSData bytes = merged.bytes();
    return NSData::dataWithBytes(bytes.bytes(), bytes.length());
}

/// The copies in memory, as runs would change them.
class Rehearsal {
public:
    Rehearsal(const std::vector<std::string>& paths, std::vector<NSData> copies, const Journal& journal)
        : paths(paths)
        , copies(std::move(copies))
        , isOnDisk(this->copies.size(), true)
        , journal(journal)
    {
    }

    CopiesSchedule play(const Runs& runs)
    {
        CopiesSchedule schedule;
        for (const auto& [first, second] : runs) {
            SyncPlan plan = planOf(first, second);
            if (plan.inStep())
                continue;
            schedule.runs.emplace_back(first, second);
            schedule.reports.push_back(reportOf(plan));
            plan.first.isOnDisk = isOnDisk[first];
            plan.second.isOnDisk = isOnDisk[second];
            schedule.reports.back().objections = objectionsTo(plan, journal);
            isOnDisk[first] = isOnDisk[second] = false;
            copies[first] = ownBytesOf(*plan.first.merged);
            copies[second] = ownBytesOf(*plan.second.merged);
        }
        schedule.endsEqual = areEqual();
        return schedule;
    }

    /// The copy that needs nothing of any other; `copies.size()` if there is none.
    std::size_t copyThatHoldsAll() const
    {
        for (std::size_t candidate = 0; candidate < copies.size(); ++candidate) {
            if (holdsAll(candidate))
                return candidate;
        }
        return copies.size();
    }

private:
    SyncPlan planOf(std::size_t first, std::size_t second) const
    {
        return { PlannedFile(paths[first], copies[first]), PlannedFile(paths[second], copies[second]) };
    }

    bool holdsAll(std::size_t candidate) const
    {
        for (std::size_t other = 0; other < copies.size(); ++other) {
            if (other != candidate && !planOf(candidate, other).firstStaysAsItIs())
                return false;
        }
        return true;
    }

    bool areEqual() const
    {
        const VaultContents first(copies.front());
        return std::all_of(copies.begin() + 1, copies.end(),
            [&](const NSData& copy) { return differenceOf(first, VaultContents(copy)).inStep; });
    }

    const std::vector<std::string>& paths;
    std::vector<NSData> copies;
    std::vector<bool> isOnDisk; // as it is in `copies`
    const Journal& journal;
};

bool isBetter(const CopiesSchedule& candidate, const CopiesSchedule& best)
{
    if (candidate.endsEqual != best.endsEqual)
        return candidate.endsEqual;
    return candidate.runs.size() < best.runs.size();
}

Runs oneWithEachOther(std::size_t one, std::size_t count)
{
    Runs runs;
    for (std::size_t other = 0; other < count; ++other) {
        if (other != one)
            runs.emplace_back(one, other);
    }
    return runs;
}

bool areInStep(const std::vector<std::string>& paths)
{
    const VaultContents first = readVault(paths.front());
    return std::all_of(paths.begin() + 1, paths.end(),
        [&](const std::string& path) { return differenceOf(first, readVault(path)).inStep; });
}

bool isDone(const SyncReport& run)
{
    return run.outcome == SyncReport::Outcome::Done;
}

/// The failure of a run, or of the look behind the last, as it is to be told once others are done.
[[noreturn]] void failBehindRuns(CopiesReport report, std::size_t planned, std::string reason)
{
    constexpr std::string_view kNothingChanged = "; no file was changed";
    if (reason.ends_with(kNothingChanged))
        reason.replace(reason.size() - kNothingChanged.size(), kNothingChanged.size(), "; this run changed no file");
    const auto done = static_cast<std::size_t>(std::count_if(report.runs.begin(), report.runs.end(), isDone));
    report.equal = false;
    throw CopiesFailure(std::move(report),
        grouped(done) + " of " + counted(planned, "run", "runs")
            + (done == 1 ? " is done and stands" : " are done and stand") + "; then: " + reason);
}

CopiesReport synchronizeTwo(
    const std::vector<std::string>& paths, const SyncOptions& options, Journal& journal, Console& console)
{
    CopiesReport report { paths, std::vector<SyncReport>(1), true }; // noting a run that is done needs no memory
    report.runs.front() = synchronizeFiles(paths[0], paths[1], options, journal, console);
    report.equal = report.runs.front().outcome != SyncReport::Outcome::Planned;
    return report;
}

} // namespace

CopiesSchedule scheduleFor(const std::vector<std::string>& paths, Journal& journal)
{
    std::vector<NSData> copies;
    copies.reserve(paths.size());
    for (const std::string& path : paths)
        copies.push_back(bytesOfFile(path));
    const std::size_t count = paths.size();
    const std::size_t holder = Rehearsal(paths, copies, journal).copyThatHoldsAll();
    if (holder < count) {
        CopiesSchedule schedule = Rehearsal(paths, copies, journal).play(oneWithEachOther(holder, count));
        if (schedule.endsEqual)
            return schedule;
    }
    CopiesSchedule best = Rehearsal(paths, copies, journal).play(gossip(count, 0));
    for (std::size_t first = 1; first < (count == 3 ? count : 1); ++first) {
        CopiesSchedule candidate = Rehearsal(paths, copies, journal).play(gossip(count, first));
        if (isBetter(candidate, best))
            best = std::move(candidate);
    }
    return best;
}

CopiesReport synchronizeCopies(
    const std::vector<std::string>& paths, SyncOptions options, Journal& journal, Console& console)
{
    if (paths.size() == 2)
        return synchronizeTwo(paths, options, journal, console);
    FileChecks { !options.dryRun, options.backups }(paths);
    console.progress("trying the runs in memory");
    CopiesSchedule schedule = scheduleFor(paths, journal);
    CopiesReport report { paths, {}, schedule.endsEqual };
    if (options.dryRun) {
        for (const SyncReport& planned : schedule.reports)
            warnOfRefusals(planned.objections, options.guards, console);
        report.runs = std::move(schedule.reports);
        return report;
    }
    for (const SyncReport& planned : schedule.reports)
        refuseUnlessAllowed(planned.objections, options.guards, console);
    options.batch = journal.newId();
    options.alsoSpared = paths;
    try {
        for (std::size_t i = 0; i < schedule.runs.size(); ++i) {
            const auto& [first, second] = schedule.runs[i];
            console.progress("synchronising", i, schedule.runs.size());
            report.runs.push_back(synchronizeFiles(paths[first], paths[second], options, journal, console));
            for (const ReportedFile* const file : { &report.runs.back().first, &report.runs.back().second })
                options.alsoSpared.push_back(file->backup); // undo takes back all the runs
        }
        report.equal = areInStep(paths);
    } catch (const CommandFailure& failure) {
        if (std::none_of(report.runs.begin(), report.runs.end(), isDone))
            throw;
        failBehindRuns(std::move(report), schedule.runs.size(), failure.what());
    }
    return report;
}

bool CopiesReport::isInStep() const
{
    return std::all_of(
        runs.begin(), runs.end(), [](const SyncReport& run) { return run.outcome == SyncReport::Outcome::InStep; });
}

ExitStatus CopiesReport::status() const
{
    const auto isToBeLookedAt = [](const SyncReport& run) { return run.status() == kLookAtIt; };
    const bool isPlan = !runs.empty() && runs.front().outcome == SyncReport::Outcome::Planned;
    return std::any_of(runs.begin(), runs.end(), isToBeLookedAt) || (!equal && !isPlan) ? kLookAtIt : kDone;
}

void printReport(const CopiesReport& report, Console& console)
{
    for (const SyncReport& run : report.runs)
        printReport(run, console);
    if (report.runs.empty() && !console.manner().quiet)
        console.data("all " + grouped(report.paths.size()) + " copies are already in step\n");
    if (report.paths.size() > 2 && !report.equal)
        console.say(
            "The copies still differ: some records grow with each run, such as one identity in two categories.");
}

nlohmann::ordered_json jsonOfPaths(const std::vector<std::string>& paths)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const std::string& path : paths)
        list.push_back(jsonText(path));
    return list;
}

nlohmann::ordered_json jsonOf(const CopiesReport& report)
{
    using Json = nlohmann::ordered_json;
    Json runs = Json::array();
    for (const SyncReport& run : report.runs)
        runs.push_back(jsonOf(run));
    return { { "paths", jsonOfPaths(report.paths) }, { "equal", report.equal }, { "runs", runs } };
}
