#include "Undo.h"

#include "Confinement.h"
#include "Console.h"
#include "ExitStatus.h"
#include "FilePaths.h"
#include "HandOff.h"
#include "Interruption.h"
#include "Json.h"
#include "StagedFiles.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <optional>

namespace {

using State = JournalRun::State;

[[noreturn]] void refuse(const std::string& reason)
{
    throw CommandFailure(kRefused, reason + "; no file was changed");
}

/// A file of the runs that go: as it was before the oldest, and as the newest left it.
struct Span {
    const JournalFile* before = nullptr;
    const JournalRun* lastRun = nullptr;
    bool hasGap = false; // somebody else changed it between the runs
};

/// The runs of one command, which go together, the newest first.
struct Unit {
    std::string id; // of the batch, or of the only run
    std::vector<JournalRun> runs;

    bool hasPart(const std::string& path) const
    {
        return std::any_of(runs.begin(), runs.end(), [&](const JournalRun& run) { return run.file(path) != nullptr; });
    }
};

/// Puts runs together, as they come from the journal, and knows when the newest unit that fits is complete.
class Units {
public:
    explicit Units(const std::vector<std::string>& paths)
    {
        std::transform(paths.begin(), paths.end(), std::back_inserter(known), canonicalPath);
    }

    /// True if no older run can change the answer any more: a batch's id is older than those of its runs.
    bool add(const JournalRun& run)
    {
        const std::string& id = run.batch.empty() ? run.id : run.batch;
        auto unit = std::find_if(units.begin(), units.end(), [&](const Unit& other) { return other.id == id; });
        if (unit == units.end())
            unit = units.insert(unit, { id, {} });
        unit->runs.push_back(run);
        const auto fitting = newestThatFits();
        return fitting != units.end()
            && std::all_of(units.cbegin(), fitting + 1, [&](const Unit& newer) { return run.id <= newer.id; });
    }

    std::vector<JournalRun> runsOfNewestThatFits() const
    {
        const auto fitting = newestThatFits();
        return fitting != units.end() ? fitting->runs : std::vector<JournalRun>();
    }

private:
    std::vector<Unit>::const_iterator newestThatFits() const
    {
        return std::find_if(units.begin(), units.end(), [&](const Unit& unit) {
            return std::all_of(known.begin(), known.end(), [&](const auto& path) { return unit.hasPart(path); });
        });
    }

    std::vector<std::string> known;
    std::vector<Unit> units; // the newest first
};

/// Raises: CommandFailure (kRefused) if there are none.
std::vector<JournalRun> runsToTakeBack(const std::vector<std::string>& paths, const Journal& journal)
{
    Units units(paths);
    journal.visit([&](const JournalRun& run) { return run.state != State::Undone && units.add(run); });
    std::vector<JournalRun> runs = units.runsOfNewestThatFits();
    if (runs.empty())
        refuse(paths.empty() ? "the journal knows no run that could be taken back"
                             : "the journal knows no run on " + paths.front()
                    + (paths.size() > 1 ? " and the others" : "") + " that could be taken back");
    return runs;
}

/// The files that the runs have written, by path.
std::map<std::string, Span> spansOf(const std::vector<JournalRun>& runs)
{
    std::map<std::string, Span> spans;
    for (const JournalRun& run : runs) {
        for (const JournalFile& file : run.files) {
            if (file.hashBefore == file.hashAfter)
                continue;
            Span& span = spans[file.path];
            span.hasGap = span.hasGap || (span.before != nullptr && span.before->hashBefore != file.hashAfter);
            span.before = &file;
            if (span.lastRun == nullptr)
                span.lastRun = &run;
        }
    }
    return spans;
}

/// All that taking back the runs has to do with.
std::vector<std::string> pathsIn(const std::vector<JournalRun>& runs)
{
    std::vector<std::string> paths;
    for (const JournalRun& run : runs) {
        for (const JournalFile& file : run.files) {
            paths.push_back(file.path);
            if (!file.backup.empty())
                paths.push_back(file.backup);
        }
    }
    return paths;
}

class Undoing {
public:
    Undoing(std::vector<JournalRun> runsNewestFirst, const UndoOptions& options, Journal& journal, Console& console)
        : runs(std::move(runsNewestFirst))
        , spans(spansOf(runs))
        , journal(journal)
        , handOff(options.partners != nullptr ? *options.partners : linuxPartners(), console)
    {
    }

    UndoReport plan()
    {
        UndoReport report;
        report.runs = runs;
        for (const auto& [path, span] : spans)
            report.files.push_back(plannedFile(path, span));
        return report;
    }

    UndoReport run()
    {
        for (const auto& [path, span] : spans) {
            if (!isGone(path)) // then planning says so
                handOff.take(path);
        }
        UndoReport report = plan();
        for (const UndoneFile& file : report.files) {
            if (!file.isOldAlready)
                stage(file);
        }
        replace();
        report.isDone = true;
        return report;
    }

private:
    static bool isGone(const std::string& path) { return !LinuxFileManager().fileExistsAtPath(path); }

    UndoneFile plannedFile(const std::string& path, const Span& span)
    {
        if (isGone(path))
            refuse(path + ": is no longer there, so that the run of " + span.lastRun->time() + " can't be taken back");
        const std::string hash = hashOf(staged.read(path));
        UndoneFile file { path, span.before->backup, hash == span.before->hashBefore };
        if (!leftWithHash(*span.lastRun, *span.lastRun->file(path), hash) && !file.isOldAlready)
            refuse(path + ": has changed since the run of " + span.lastRun->time()
                + ", and what was done since would be lost");
        if (span.hasGap && !file.isOldAlready)
            refuse(path + ": somebody else has changed it between the runs up to that of " + span.lastRun->time()
                + ", and that change would be lost");
        if (!file.isOldAlready)
            expectBackup(file, *span.before);
        return file;
    }

    void expectBackup(const UndoneFile& file, const JournalFile& before)
    {
        if (file.backup.empty())
            refuse(file.path + ": the run was made without backups");
        if (isGone(file.backup))
            refuse(file.path + ": its backup " + file.backup + " is no longer there");
        if (hashOf(staged.read(file.backup)) != before.hashBefore)
            refuse(file.path + ": its backup " + file.backup + " has changed");
    }

    void stage(const UndoneFile& file)
    {
        const NSData bytes = staged.read(file.backup);
        if (!(staged.stage(file.path, bytes) == bytes))
            throw CommandFailure(kFailed, file.path + ": what was written could not be read back; no file was changed");
    }

    void replace()
    {
        const StStates notes(*this);
        notes.begin();
        try {
            staged.commit();
        } catch (const FileChanged& changed) {
            throw CommandFailure(
                kFailed, changed.path + ": somebody else has changed it meanwhile; no file was changed");
        } catch (const CommandFailure& failure) {
            if (failure.status() == kHalfWritten)
                runs.clear(); // their entries stay as those of an undo that has begun
            throw;
        }
        const StForgetInterruptions behindTheReplacement;
        for (JournalRun& run : runs)
            run.state = State::Undone;
    }

    /// Notes that the undo begins; at its end writes the entries as they are then, so that those of an undo that came
    /// to nothing are as before.
    class StStates {
    public:
        explicit StStates(Undoing& undoing)
            : undoing(undoing)
        {
        }
        ~StStates()
        {
            const StForgetInterruptions whileEnding;
            for (const JournalRun& run : undoing.runs) {
                try {
                    undoing.journal.write(run);
                } catch (...) { // the files' hashes say the same
                    continue;
                }
            }
        }
        void begin() const
        {
            for (JournalRun run : undoing.runs) {
                run.state = State::UndoBegun;
                undoing.journal.write(run);
            }
        }
        StStates(const StStates&) = delete;
        StStates& operator=(const StStates&) = delete;

    private:
        Undoing& undoing;
    };

    std::vector<JournalRun> runs;
    const std::map<std::string, Span> spans;
    Journal& journal;
    StagedFiles staged;
    HandOff handOff;
};

} // namespace

UndoReport undo(const std::vector<std::string>& paths, const UndoOptions& options, Journal& journal, Console& console)
{
    std::vector<JournalRun> runs = runsToTakeBack(paths, journal);
    if (options.confines)
        confineTo(pathsIn(runs), journal);
    Undoing undoing(std::move(runs), options, journal, console);
    return options.dryRun ? undoing.plan() : undoing.run();
}

namespace {

/// A run of `resolve` has cleared away the copy that it merged, and that isn't taken back.
std::string copiesInTrash(const JournalRun& run)
{
    std::string text;
    for (const JournalFile& file : run.files) {
        if (run.command == "resolve" && file.hashBefore == file.hashAfter
            && !LinuxFileManager().fileExistsAtPath(file.path))
            text += "  " + printable(file.path) + " isn't taken back; look for it in the trash\n";
    }
    return text;
}

} // namespace

void printReport(const UndoReport& report, Console& console)
{
    if (console.manner().quiet)
        return;
    std::string text;
    for (const JournalRun& run : report.runs)
        text += std::string(report.isDone ? "Taken back: " : "Would be taken back: ") + run.command + " of "
            + run.time() + "\n";
    for (const UndoneFile& file : report.files)
        text += "  " + printable(file.path)
            + (file.isOldAlready ? " is as it was before" : " from " + printable(file.backup)) + "\n";
    for (const JournalRun& run : report.runs)
        text += copiesInTrash(run);
    console.data(text);
}

nlohmann::ordered_json jsonOf(const UndoReport& report)
{
    using Json = nlohmann::ordered_json;
    Json runs = Json::array();
    for (const JournalRun& run : report.runs)
        runs.push_back({ { "run", run.id }, { "command", run.command } });
    Json files = Json::array();
    for (const UndoneFile& file : report.files)
        files.push_back({ { "path", jsonText(file.path) }, { "backup", jsonText(file.backup) },
            { "written", report.isDone && !file.isOldAlready } });
    return { { "outcome", report.isDone ? "done" : "planned" }, { "runs", runs }, { "files", files } };
}
