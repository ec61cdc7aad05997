#include "SyncRun.h"

#include "ActionRun.h"
#include "Backups.h"
#include "Console.h"
#include "ExitStatus.h"
#include "FileChecks.h"
#include "FilePaths.h"
#include "Journal.h"
#include "KilledRuns.h"
#include "RunNote.h"
#include "StagedFiles.h"
#include "SyncPlan.h"
#include "SyncProof.h"

namespace {

constexpr uint32_t kMostAttempts = 3;

const ActionPartners& partnersOf(const SyncOptions& options)
{
    return options.partners != nullptr ? *options.partners : linuxPartners();
}

/// One attempt with one plan.
class Attempt {
public:
    Attempt(SyncPlan plan, const SyncOptions& options, Journal& journal, Console& console)
        : plan(std::move(plan))
        , options(options)
        , journal(journal)
        , console(console)
        , action(partnersOf(options), this->plan, staged, console)
        , backups(options.keepBackups, options.alsoSpared, console)
    {
    }

    /// Behind the replacement nothing is raised any more: a failure would say that nothing was written.
    void run(SyncReport& report)
    {
        console.progress("synchronising");
        action.run();
        if (!options.replaceSecond)
            staged.discard(pathOfSecond());
        std::vector<JournalFile> files = provedFiles();
        tellOfRunThatWasCutOff();
        replace(std::move(files), report);
        action.end();
    }

private:
    std::string pathOfSecond() const { return absolutePath(plan.second.path); }

    /// What the journal is to say of the files. The bytes that were read back go when that is known.
    std::vector<JournalFile> provedFiles()
    {
        const VaultContents first(action.takeNewFirst());
        std::optional<VaultContents> second;
        if (options.replaceSecond)
            second.emplace(action.takeNewSecond());
        prove(first, second ? &*second : nullptr);
        return { journalFileOf(plan.first, first),
            journalFileOf(plan.second, second ? *second : plan.second.contents) };
    }

    /// Over the bytes that came back from the disk: they are those of the plan, and the plan's merge has lost nothing.
    /// Without a second file only the first one's.
    void prove(const VaultContents& first, const VaultContents* second) const
    {
        std::vector<const VaultContents*> outputs { &first };
        if (second != nullptr)
            outputs.push_back(second);
        std::optional<std::string> reason = reasonNotProved(plan.first.contents, plan.second.contents, outputs);
        if (!reason && !isSameButForOpenDate(first, plan.first.merged->bytes()))
            reason = "what was written for " + plan.first.path + " is not what was planned";
        if (!reason && second != nullptr && !isSameButForOpenDate(*second, plan.second.merged->bytes()))
            reason = "what was written for " + plan.second.path + " is not what was planned";
        if (reason)
            throw CommandFailure(kFailed, "the result does not prove right: " + *reason + "; no file was changed");
    }

    /// While the locks are held nobody else works on these files: a run that has only begun will not end.
    void tellOfRunThatWasCutOff() const
    {
        for (const PlannedFile* const file : { &plan.first, &plan.second }) {
            const std::vector<JournalRun> runs = journal.runsOf(canonicalPath(file->path), 1);
            if (runs.empty() || !isLeftHalfDone(runs.front()))
                continue;
            console.say(printable(file->path) + ": the run of " + runs.front().time()
                + " was cut off; this one ends what it began");
            return;
        }
    }

    /// One file of the run is as before it and another as behind it.
    bool isLeftHalfDone(const JournalRun& run) const
    {
        bool isOneOld = false;
        bool isOneNew = false;
        for (const PlannedFile* const file : { &plan.first, &plan.second }) {
            const JournalFile* const then = run.file(canonicalPath(file->path));
            if (then == nullptr || then->hashBefore == then->hashAfter)
                continue;
            isOneOld = isOneOld || file->hash() == then->hashBefore;
            isOneNew = isOneNew || file->hash() == then->hashAfter;
        }
        return isOneOld && isOneNew;
    }

    void replace(std::vector<JournalFile> files, SyncReport& report)
    {
        JournalRun run;
        report.runId = run.id = journal.newId();
        run.command = options.command;
        run.batch = options.batch;
        run.files = std::move(files);
        if (!options.replaceSecond) {
            run.files.back().added.clear();
            run.files.back().removed.clear();
        }
        noteDoubled(run);
        noteSelfDeleted(run);
        run.files[0].backup = report.first.backup = backup(plan.first);
        if (options.replaceSecond)
            run.files[1].backup = report.second.backup = backup(plan.second);
        RunNote note(journal, console, std::move(run));
        note.begin();
        commit(note);
    }

    void noteDoubled(JournalRun& run) const
    {
        for (JournalFile& file : run.files) {
            for (const KeptTwice& pair : keptTwiceBy(plan)) {
                file.doubled.push_back(pair.uuidInFirst);
                if (!pair.sameUuid)
                    file.doubled.push_back(pair.uuidInSecond);
            }
        }
    }

    void noteSelfDeleted(JournalRun& run) const
    {
        for (const uint32_t record : plan.difference.selfDeletedInA)
            run.files[0].selfDeleted.emplace_back(plan.first.contents.records[record].uuid);
        if (!options.replaceSecond)
            return;
        for (const uint32_t record : plan.difference.selfDeletedInB)
            run.files[1].selfDeleted.emplace_back(plan.second.contents.records[record].uuid);
    }

    std::string backup(const PlannedFile& file)
    {
        return options.backups || !file.contents.isCarriedWhole() ? backups.make(file.path, file.bytes()) : "";
    }

    void commit(RunNote& note)
    {
        try {
            staged.commit();
        } catch (const CommandFailure& failure) {
            if (failure.status() == kHalfWritten) {
                backups.keep();
                note.end(JournalRun::State::HalfDone);
            }
            throw;
        }
        backups.keep();
        note.end(JournalRun::State::Done);
        backups.prune();
    }

    const SyncPlan plan;
    const SyncOptions& options;
    Journal& journal;
    Console& console;
    StagedFiles staged;
    ActionRun action;
    Backups backups;
};

/// Whether a run has nothing to write.
bool hasNothingToDo(const SyncPlan& plan, const SyncOptions& options)
{
    return options.replaceSecond ? plan.inStep() : plan.firstStaysAsItIs();
}

/// Raises: FileChanged if somebody else has changed a file meanwhile, with no file written.
SyncReport attempt(
    const std::string& first, const std::string& second, SyncOptions& options, Journal& journal, Console& console)
{
    console.progress("reading and merging in memory");
    SyncPlan plan = planFor(first, second);
    SyncReport report = reportOf(plan, options.replaceSecond);
    if (hasNothingToDo(plan, options)) {
        if (!options.dryRun)
            removeLeftoversOf({ first, second }, partnersOf(options).locks);
        return report;
    }
    report.objections = objectionsTo(plan, journal);
    if (options.dryRun) {
        warnOfRefusals(report.objections, options.guards, console);
        return report;
    }
    refuseUnlessAllowed(report.objections, options.guards, console);
    Attempt attempt(std::move(plan), options, journal, console);
    attempt.run(report);
    report.outcome = SyncReport::Outcome::Done;
    report.first.written = true;
    report.second.written = options.replaceSecond;
    return report;
}

} // namespace

SyncReport synchronizeFiles(
    const std::string& first, const std::string& second, SyncOptions options, Journal& journal, Console& console)
{
    FileChecks { !options.dryRun, options.backups }({ first, second });
    for (uint32_t attempts = 1;; ++attempts) {
        try {
            SyncReport report = attempt(first, second, options, journal, console);
            report.attempts = attempts;
            return report;
        } catch (const FileChanged& changed) {
            if (attempts == kMostAttempts)
                throw CommandFailure(kFailed,
                    changed.path + ": somebody else has changed it " + std::to_string(attempts)
                        + " times while it was to be synchronised; no file was changed");
            console.detail(printable(changed.path) + ": somebody else has changed it; starting over");
        }
    }
}
