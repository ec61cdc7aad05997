#include "AllCommands.h"
#include "ActionRun.h"
#include "Console.h"
#include "CopiesInStep.h"
#include "ExitStatus.h"
#include "Journal.h"
#include "Json.h"
#include "NSURL.h"
#include "Sandbox.h"
#include "VLR_System.h"

#include <nlohmann/json.hpp>

#include <ctime>

namespace {

constexpr uint32_t kMostBackupsKept = 99;

/// From here on the process reaches the folders of these files and the journal's alone, should a vault take hold of it.
void confineTo([[maybe_unused]] const std::vector<std::string>& paths, [[maybe_unused]] const Journal& journal)
{
#ifdef VELLORIN_CONFINED
    std::vector<std::string> folders { journal.folder() };
    for (const std::string& path : paths) {
        const std::vector<std::string> ofFile = Sandbox::foldersOfFile(NSURL::fileURLWithPath(path).path());
        folders.insert(folders.end(), ofFile.begin(), ofFile.end());
    }
    static_cast<void>(Sandbox::restrictToFolders(folders));
#endif
}

class SyncCommand final : public Command {
public:
    CommandPage page() override
    {
        return { "sync", "bring copies of a vault in step",
            { { "FILE", "two copies of a vault, or more", &paths, 2, CommandPage::kAny } },
            {
                { "--dry-run", "", "", "tell what would be done, and do nothing", &options.dryRun },
                { "--exit-code", "", "", "with --dry-run: end with 1 if there is something to do", &exitCode },
                { "--json", "", "", "report as JSON", &json },
                { "--no-backup", "", "", "make no numbered backups first", &noBackup },
                { "--keep-backups", "", "N", "keep so many backups of each file, the newest [10]",
                    &options.keepBackups },
                { "--allow-removals", "", "", "go on though much would be removed from a file",
                    &options.guards.allowRemovals },
                { "--allow-unrelated", "", "", "go on though the vaults have nothing in common",
                    &options.guards.allowUnrelated },
                { "--allow-damage", "", "", "go on though a vault is damaged; it is backed up in any case",
                    &options.guards.allowDamage },
                { "--allow-older", "", "", "go on though a file is older than the last run left it",
                    &options.guards.allowOlder },
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
                "\"vellorin undo\" takes the last run back.",
            },
            {
                { "vellorin sync ~/vault.vlr /media/stick/vault.vlr", "bring two copies in step" },
                { "vellorin sync --dry-run laptop.vlr nas.vlr phone.vlr", "show what would be done to three" },
            } };
    }

    int run(Console& console) override
    {
        options.backups = !noBackup;
        if (options.keepBackups < 1 || options.keepBackups > kMostBackupsKept)
            throw CommandFailure(kRefused, "--keep-backups needs a number from 1 to 99");
        if (exitCode && !options.dryRun)
            throw CommandFailure(kRefused, "--exit-code goes with --dry-run");
        Journal journal;
        if (!options.dryRun)
            journal.makeFolder();
        askTheSystem();
        confineTo(paths, journal);
        return json ? runForPrograms(journal, console) : runForPeople(journal, console);
    }

private:
    /// Everything that is to be known and lies elsewhere than the files.
    void askTheSystem()
    {
        options.partners = &linuxPartners(); // when this process started
        static_cast<void>(VLR_System::GetPreference(VLRPref_DocumentFlagOverride, 0)); // the settings
        ::tzset();
    }

    int runForPeople(Journal& journal, Console& console)
    {
        const CopiesReport report = synchronizeCopies(paths, options, journal, console);
        console.workIsDone();
        printReport(report, console);
        return statusOf(report);
    }

    int runForPrograms(Journal& journal, Console& console)
    {
        nlohmann::ordered_json document = jsonDocument("sync");
        try {
            const CopiesReport report = synchronizeCopies(paths, options, journal, console);
            console.workIsDone();
            document.update(jsonOf(report));
            printJson(console, document);
            return statusOf(report);
        } catch (const GuardRefusal& refusal) {
            document["paths"] = jsonOfPaths(paths);
            document["refused"] = jsonOf(refusal.objection);
            printJson(console, document);
            throw;
        }
    }

    int statusOf(const CopiesReport& report) const
    {
        if (exitCode)
            return report.isInStep() ? kDone : kLookAtIt;
        return report.status();
    }

    std::vector<std::string> paths;
    SyncOptions options;
    bool exitCode = false;
    bool json = false;
    bool noBackup = false;
};

} // namespace

std::unique_ptr<Command> syncCommand()
{
    return std::make_unique<SyncCommand>();
}
