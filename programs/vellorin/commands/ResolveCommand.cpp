#include "AllCommands.h"

#include "Console.h"
#include "CopyResolver.h"
#include "FilePaths.h"
#include "FilesApart.h"
#include "FinderServices.h"
#include "Journal.h"
#include "Json.h"
#include "SafetyOptions.h"
#include "SyncRun.h"
#include "VaultCopies.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <set>

namespace fs = std::filesystem;

namespace {

std::string nameOf(ResolvedCopy::Outcome outcome)
{
    switch (outcome) {
    case ResolvedCopy::Outcome::NothingNew: return "nothing-new";
    case ResolvedCopy::Outcome::Merged: return "merged";
    case ResolvedCopy::Outcome::Left: return "left";
    }
    return {};
}

class ResolveCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page;
        page.name = "resolve";
        page.summary = "merge the copies that file synchronisers leave behind, and clear them away";
        page.operands = { { "PATH", "a vault, or a folder with vaults", &paths_, 1, CommandPage::kAny } };
        page.options = {
            { "--recursive", "-r", "", "look through the folders below too", &recursive_ },
            { "--dry-run", "", "", "only tell what would be done", &dryRun_ },
            { "--json", "", "", "tell it as JSON", &json_ },
        };
        const std::vector<Option> safety = safety_.options();
        page.options.insert(page.options.end(), safety.begin(), safety.end());
        page.description = {
            "When a file was changed in two places at once, a file synchroniser keeps both: one under the file's "
            "name, the other one as a copy beside it. This command finds such copies of a vault, brings what is new "
            "in each to the vault, and moves the copy to the trash with the bytes that it had. A copy with nothing "
            "new just goes there. The vault is backed up first.",
            "What makes a copy is the vault's identity inside the file. Its name is a hint: those that Syncthing, "
            "Nextcloud, Dropbox and Unison give are known. In a folder the vault is the file whose name is none of "
            "these; where several files hold one vault, name the one that is to stay. Numbered backups, links, files "
            "that are named too, and files that are kept in step with the vault by sync or watch are no copies.",
            "A numbered backup, and a copy by its name beside the vault, are no vaults to merge copies into: to name "
            "one is refused. So name the vault or its folder, and not FOLDER/*, which names the copies as well.",
            "A copy is read again after the merge, and goes only when the vault, as it lies on the disk by then, "
            "holds all of it. Where there is no trash the copy stays.",
        };
        page.examples = {
            { "vellorin resolve ~/Sync/vault.vlr", "merge and clear away all copies of this vault" },
            { "vellorin resolve --dry-run -r ~/Nextcloud", "see which copies there are in all folders of a cloud" },
        };
        return page;
    }

    int run(Console& console) override;

private:
    FoundCopies find(Console& console, const Journal& journal) const;
    ResolvedCopy resolve(const std::string& vault, const VaultCopy& copy, Journal& journal, Console& console) const;
    void tell(const std::string& vault, const VaultCopy& copy, const ResolvedCopy& resolved, Console& console) const;

    std::vector<std::string> paths_;
    bool recursive_ = false;
    bool dryRun_ = false;
    bool json_ = false;
    SafetyOptions safety_;
};

nlohmann::ordered_json jsonOf(const VaultCopy& copy, const ResolvedCopy& resolved)
{
    nlohmann::ordered_json json;
    json["copy"] = jsonText(copy.path);
    json["synchroniser"]
        = copy.synchroniser.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(copy.synchroniser);
    json["outcome"] = nameOf(resolved.outcome);
    json["inTrash"] = resolved.inTrash;
    json["status"] = resolved.status;
    json["message"] = resolved.message.empty() ? nlohmann::ordered_json() : jsonText(resolved.message);
    json["report"] = resolved.report ? jsonOf(*resolved.report) : nlohmann::ordered_json();
    return json;
}

/// A copy that several of the named files could take goes to the first of them.
void leaveEachCopyToOne(std::vector<CopiesOfVault>& vaults)
{
    std::set<std::string> taken;
    for (CopiesOfVault& vault : vaults)
        std::erase_if(
            vault.copies, [&](const VaultCopy& copy) { return !taken.insert(canonicalPath(copy.path)).second; });
}

int ResolveCommand::run(Console& console)
{
    Journal journal;
    static_cast<void>(safety_.syncOptions("resolve")); // wrong usage comes before any work
    const FoundCopies found = find(console, journal);
    int status = kDone;
    nlohmann::ordered_json document = jsonDocument("resolve");
    document["dryRun"] = dryRun_;
    document["vaults"] = nlohmann::ordered_json::array();
    document["problems"] = nlohmann::ordered_json::array();
    for (const CopiesOfVault& vault : found.vaults) {
        nlohmann::ordered_json entry { { "vault", jsonText(vault.vault) },
            { "copies", nlohmann::ordered_json::array() } };
        for (const VaultCopy& copy : vault.copies) {
            const ResolvedCopy resolved = resolve(vault.vault, copy, journal, console);
            if (resolved.inTrash || resolved.report)
                console.workIsDone();
            tell(vault.vault, copy, resolved, console);
            entry["copies"].push_back(jsonOf(copy, resolved));
            status = std::max<int>(status, resolved.status);
        }
        if (vault.copies.empty() && !json_ && !console.manner().quiet)
            console.data(printable(vault.vault) + ": has no copies\n");
        document["vaults"].push_back(std::move(entry));
    }
    if (found.vaults.empty() && found.problems.empty() && !json_ && !console.manner().quiet)
        console.data("no copies were found\n");
    for (const Problem& problem : found.problems) {
        console.complain(printable(problem.message));
        document["problems"].push_back({ { "status", problem.status }, { "message", jsonText(problem.message) } });
        status = std::max<int>(status, problem.status);
    }
    if (json_)
        printJson(console, document);
    return status;
}

FoundCopies ResolveCommand::find(Console& console, const Journal& journal) const
{
    FilesApart apart(paths_, journal);
    const CopyFinder finder(
        [&](const std::string& path, const std::string& why, bool matters) {
            const std::string text = printable(path) + ": passed over: " + printable(why);
            matters ? console.complain(text) : console.detail(text);
        },
        [&](const std::string& path) { return apart.isNamed(path); },
        [&](const std::string& vault, const std::string& other) { return apart.isKeptInStep(vault, other); });
    FoundCopies found;
    for (const std::string& path : paths_) {
        std::error_code ignored;
        if (!fs::is_directory(path, ignored)) {
            try {
                found.vaults.push_back(finder.copiesOf(path));
            } catch (const CommandFailure& failure) {
                found.problems.push_back({ failure.status(), failure.what() });
            }
            continue;
        }
        FoundCopies inFolder = finder.copiesIn(path, recursive_);
        std::move(inFolder.vaults.begin(), inFolder.vaults.end(), std::back_inserter(found.vaults));
        std::move(inFolder.problems.begin(), inFolder.problems.end(), std::back_inserter(found.problems));
    }
    leaveEachCopyToOne(found.vaults);
    return found;
}

ResolvedCopy ResolveCommand::resolve(
    const std::string& vault, const VaultCopy& copy, Journal& journal, Console& console) const
{
    SyncOptions options = safety_.syncOptions("resolve");
    options.dryRun = dryRun_;
    options.replaceSecond = false;
    LinuxFinderServices finder;
    const auto merge = [&](const std::string& into, const std::string& from) {
        return synchronizeFiles(into, from, options, journal, console);
    };
    const CopyResolver resolver({ merge, finder }, { dryRun_, options.guards.allowDamage });
    return resolver.resolve(vault, copy.path);
}

void ResolveCommand::tell(
    const std::string& vault, const VaultCopy& copy, const ResolvedCopy& resolved, Console& console) const
{
    if (!resolved.message.empty())
        console.complain(printable(resolved.message));
    if (json_ || console.manner().quiet)
        return;
    std::string text = printable(copy.path) + (copy.synchroniser.empty() ? "" : " (" + copy.synchroniser + ")");
    switch (resolved.outcome) {
    case ResolvedCopy::Outcome::NothingNew: text += ": has nothing that " + printable(vault) + " lacks"; break;
    case ResolvedCopy::Outcome::Merged:
        text += dryRun_ ? ": would be merged into " + printable(vault) : ": is merged into " + printable(vault);
        break;
    case ResolvedCopy::Outcome::Left: text += ": stays"; break;
    }
    if (resolved.inTrash)
        text += ", and is in the trash now";
    else if (dryRun_ && resolved.outcome != ResolvedCopy::Outcome::Left)
        text += ", and would go to the trash";
    text += "\n";
    if (resolved.report) {
        for (const std::string& sentence : resolved.report->sentences)
            text += "  " + sentence + ".\n";
    }
    console.data(text);
}

} // namespace

std::unique_ptr<Command> resolveCommand()
{
    return std::make_unique<ResolveCommand>();
}
