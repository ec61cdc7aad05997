#pragma once

#include "ExitStatus.h"
#include "SyncReport.h"
#include "SyncRun.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

/// The runs, each of two files by their numbers, that make all copies of a vault equal.
struct CopiesSchedule {
    using Run = std::pair<std::size_t, std::size_t>;

    std::vector<Run> runs;
    std::vector<SyncReport> reports; // what each would do
    bool endsEqual = false; // not so where a pair grows by each run, as with one UUID in two categories
};

/// The fewest runs, tried out in memory. If one copy holds all that the others have, one run of it with each; else each
/// copy tells what it has by the fewest calls in which everybody gets to know everything (3 for 3 copies, 2n - 4 for
/// n). Runs of two files that are in step then are left out. Raises: CommandFailure, as SyncPlan.
CopiesSchedule scheduleFor(const std::vector<std::string>& paths, Journal& journal);

/// What became of all copies.
struct CopiesReport {
    std::vector<std::string> paths;
    std::vector<SyncReport> runs; // one, perhaps in step, for two copies
    bool equal = true; // behind the runs

    bool isInStep() const;

    /// kLookAtIt if a run says so or the copies still differ.
    ExitStatus status() const;
};

/// A failure behind runs that are done and stand: kHalfWritten, with what they did.
class CopiesFailure : public CommandFailure {
public:
    CopiesFailure(CopiesReport done, const std::string& message)
        : CommandFailure(kHalfWritten, message)
        , done(std::move(done))
    {
    }

    const CopiesReport done;
};

/// Makes all copies equal, by as many runs as it takes. All guards are asked before the first run.
/// Raises: as synchronizeFiles; CopiesFailure once a run is done.
CopiesReport synchronizeCopies(
    const std::vector<std::string>& paths, SyncOptions options, Journal& journal, Console& console);

void printReport(const CopiesReport& report, Console& console);

nlohmann::ordered_json jsonOfPaths(const std::vector<std::string>& paths);

/// Members for a document of the command.
nlohmann::ordered_json jsonOf(const CopiesReport& report);
