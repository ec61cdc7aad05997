#include "AllCommands.h"
#include "Confinement.h"
#include "Console.h"
#include "CopiesInStep.h"
#include "ExitStatus.h"
#include "Journal.h"
#include "Json.h"
#include "SafetyOptions.h"

#include <nlohmann/json.hpp>

namespace {

class SyncCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page { "sync", "bring copies of a vault in step",
            { { "FILE", "two copies of a vault, or more", &paths, 2, CommandPage::kAny } },
            {
                { "--dry-run", "", "", "tell what would be done, and do nothing", &dryRun },
                { "--exit-code", "", "", "with --dry-run: end with 1 if there is something to do", &exitCode },
                { "--json", "", "", "report as JSON", &json },
            },
            {
                "Merges the copies so that afterwards each holds the records of all: new ones go everywhere, "
                "deleted ones go, and of a record that was edited on both sides both versions stay. No password "
                "is asked for and nothing is deciphered.",
                "Before, both files are read and merged in memory, and what looks like a mistake is refused: each "
                "refusal names the option to go on, and at a terminal it is a question. Then the files are "
                "locked, merged and written beside the old ones, read back and proved to have lost nothing, "
                "backed up under numbered names, and replaced together: if the second can't be, the first is "
                "taken back.",
                "More than two copies are made equal by as few runs of two as it takes.",
                "--dry-run tells of refusals, too. \"vellorin undo\" takes the last run back.",
            },
            {
                { "vellorin sync ~/vault.vlr /media/stick/vault.vlr", "bring two copies in step" },
                { "vellorin sync --dry-run laptop.vlr nas.vlr phone.vlr", "show what would be done to three" },
            } };
        const std::vector<Option> ofSafety = safety.options();
        page.options.insert(page.options.end(), ofSafety.begin(), ofSafety.end());
        return page;
    }

    int run(Console& console) override
    {
        if (exitCode && !dryRun)
            throw CommandFailure(kRefused, "--exit-code goes with --dry-run");
        SyncOptions options = safety.syncOptions("sync");
        options.dryRun = dryRun;
        Journal journal;
        if (!dryRun)
            journal.makeFolder();
        options.partners = &confineTo(paths, journal);
        return json ? runForPrograms(options, journal, console) : runForPeople(options, journal, console);
    }

private:
    int runForPeople(const SyncOptions& options, Journal& journal, Console& console)
    {
        try {
            const CopiesReport report = synchronizeCopies(paths, options, journal, console);
            noteWork(report, console);
            printReport(report, console);
            return statusOf(report);
        } catch (const CopiesFailure& failure) {
            console.workIsDone();
            for (const SyncReport& run : failure.done.runs)
                printReport(run, console);
            throw;
        }
    }

    int runForPrograms(const SyncOptions& options, Journal& journal, Console& console)
    {
        nlohmann::ordered_json document = jsonDocument("sync");
        try {
            const CopiesReport report = synchronizeCopies(paths, options, journal, console);
            noteWork(report, console);
            document.update(jsonOf(report));
            printJson(console, document);
            return statusOf(report);
        } catch (const CopiesFailure& failure) {
            console.workIsDone();
            document.update(jsonOf(failure.done));
            document["failure"] = jsonText(failure.what());
            printJson(console, document);
            throw;
        } catch (const GuardRefusal& refusal) {
            document["paths"] = jsonOfPaths(paths);
            document["refused"] = jsonOf(refusal.objection);
            printJson(console, document);
            throw;
        }
    }

    void noteWork(const CopiesReport& report, Console& console) const
    {
        if (!dryRun && !report.isInStep())
            console.workIsDone();
    }

    int statusOf(const CopiesReport& report) const
    {
        if (exitCode)
            return report.isInStep() ? kDone : kLookAtIt;
        return report.status();
    }

    std::vector<std::string> paths;
    SafetyOptions safety;
    bool dryRun = false;
    bool exitCode = false;
    bool json = false;
};

} // namespace

std::unique_ptr<Command> syncCommand()
{
    return std::make_unique<SyncCommand>();
}
