#include "AllCommands.h"

#include "Console.h"
#include "ExitStatus.h"
#include "Json.h"
#include "VaultContents.h"
#include "VaultFile.h"
#include "VaultMerge.h"
#include "VaultText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <optional>

namespace {

constexpr std::size_t kReferenceBuffer = 256;
constexpr std::size_t kCipherBlock = 8;

/// What can be seen of a vault without its password that is wrong with it, or to be wondered at.
struct Findings {
    explicit Findings(const VaultContents& vault)
        : damage(vault.damage)
        , noPasswordFits(vault.referenceBuffer.size() != kReferenceBuffer)
    {
        std::map<std::string_view, std::size_t> times;
        for (const VaultRecord& record : vault.records) {
            if (record.body.size() % kCipherBlock != 0)
                unreadable.push_back(record);
            if (record.isWhole)
                ++times[record.uuid];
        }
        for (const auto& [uuid, count] : times) {
            if (count > 1)
                repeated.emplace_back(uuid, count);
        }
    }

    std::size_t damagedPlaces() const { return damage.size() + unreadable.size() + (noPasswordFits ? 1 : 0); }

    const std::vector<VaultDamage>& damage;
    std::vector<VaultRecord> unreadable; // an encrypted part of a length that no cipher makes
    bool noPasswordFits; // the reference buffer has a wrong length
    std::vector<std::pair<std::string_view, std::size_t>> repeated; // UUIDs, and how often
};

class CheckCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page;
        page.name = "check";
        page.summary = "look for damage in vaults, and save what is whole";
        page.operands = { { "FILE", "a vault", &files_, 1, CommandPage::kAny } };
        page.options = { { "--repair", "", "OUT", "write what is whole of one FILE to a new file", &repair_,
                             Completion::AnyFile },
            { "--json", "", "", "tell it to programs", &json_ } };
        page.description = {
            "Reads all that can be read without the password, and tells of each damaged place where in the file it is "
            "and what is wrong with it. It tells of UUIDs that several records have, too: that is no damage, and comes "
            "of one record that was put into different categories in two copies.",
            "With --repair it writes the records that are whole to a new file, with the vault's identity, deletions "
            "and preferences, and lists what could not be saved. FILE stays as it is, and a file that is there is "
            "never replaced. A record of an older format is kept as it is: open the vault once in a program that knows "
            "its password before you synchronise it.",
            "The exit status is 1 if there is damage.",
        };
        page.examples = { { "vellorin check ~/vault.vlr", "look whether the vault is whole" },
            { "vellorin check --repair saved.vlr broken.vlr", "save the records that are whole" } };
        return page;
    }

    int run(Console& console) override
    {
        if (!repair_.empty() && files_.size() != 1)
            throw CommandFailure(kRefused, "--repair goes with one FILE");
        std::optional<JsonOutput> json;
        if (json_)
            json.emplace(console, "check").beginList("files");
        for (const std::string& path : files_)
            tell(check(path, console), console, json);
        if (json)
            json->finish();
        return hasFailed_ ? kFailed : hasDamage_ ? kLookAtIt : kDone;
    }

private:
    /// What --repair has written, and what it could not take over.
    struct Repaired {
        std::size_t saved = 0;
        std::vector<VaultDamage> lost;
    };

    /// What came of one file. Parts that there aren't are absent.
    struct Checked {
        std::string path;
        std::optional<VaultContents> vault;
        std::optional<Repaired> repaired;
        std::string failure;
    };

    /// The repair comes before any output, so that nothing was told if it is refused.
    Checked check(const std::string& path, Console& console)
    {
        Checked checked { path, std::nullopt, std::nullopt, "" };
        try {
            checked.vault.emplace(readVault(path));
            if (!repair_.empty())
                checked.repaired = repair(*checked.vault, console);
        } catch (const CommandFailure& failure) {
            if (failure.status() == kRefused)
                throw;
            checked.failure = failure.what();
            console.complain(printable(failure.what()));
            hasFailed_ = true;
        }
        return checked;
    }

    Repaired repair(const VaultContents& vault, Console& console) const
    {
        Repaired result;
        const NSData repaired = repairedVault(vault, result.lost);
        writeNewVault(repair_, repaired);
        console.workIsDone();
        result.saved = VaultContents(repaired).records.size();
        return result;
    }

    void tell(const Checked& checked, Console& console, std::optional<JsonOutput>& json)
    {
        std::optional<Findings> findings;
        if (checked.vault)
            findings.emplace(*checked.vault);
        hasDamage_ = hasDamage_ || (findings && findings->damagedPlaces() > 0);
        if (json)
            put(*json, checked, findings);
        else if (findings)
            console.data(textOf(checked, *findings));
    }

    std::string textOf(const Checked& checked, const Findings& findings) const
    {
        const VaultContents& vault = *checked.vault;
        std::string text = textOfFindings(checked.path, vault, findings);
        if (!checked.repaired)
            return text;
        text += printable(repair_) + ": written with " + counted(checked.repaired->saved, "record", "records") + "\n";
        for (const VaultDamage& damage : checked.repaired->lost)
            text += "  lost " + lineOf(damage, vault) + "\n";
        return text;
    }

    static std::string textOfFindings(const std::string& path, const VaultContents& vault, const Findings& findings)
    {
        const std::size_t places = findings.damagedPlaces();
        std::string text = printable(path) + ": " + counted(vault.records.size(), "record", "records") + ", "
            + (places == 0 ? "whole" : counted(places, "damaged place", "damaged places")) + "\n";
        if (findings.noPasswordFits)
            text += "  the reference buffer has a wrong length: no password opens the vault\n";
        for (const VaultDamage& damage : findings.damage)
            text += "  " + lineOf(damage, vault) + "\n";
        for (const VaultRecord& record : findings.unreadable)
            text += "  at byte " + std::to_string(record.offset)
                + ": the encrypted part has a wrong length: no password reads it (record " + printable(record.uuid)
                + ")\n";
        for (const auto& [uuid, count] : findings.repeated)
            text += "  " + counted(count, "record has", "records have") + " the UUID " + printable(uuid) + "\n";
        return text;
    }

    void put(JsonOutput& json, const Checked& checked, const std::optional<Findings>& findings) const
    {
        json.beginObject();
        json.member("path", jsonText(checked.path));
        if (findings)
            putFindings(json, *checked.vault, *findings);
        if (checked.repaired) {
            json.member("repaired", jsonText(repair_));
            json.member("saved", checked.repaired->saved);
            putDamage(json, "lost", checked.repaired->lost, *checked.vault);
        }
        if (!checked.failure.empty())
            json.member("error", jsonText(checked.failure));
        json.end();
    }

    static void putFindings(JsonOutput& json, const VaultContents& vault, const Findings& findings)
    {
        json.member("recordCount", vault.records.size());
        json.member("noPasswordFits", findings.noPasswordFits);
        putDamage(json, "damage", findings.damage, vault);
        putRecords(json, "unreadable", findings.unreadable);
        json.beginList("repeated");
        for (const auto& [uuid, count] : findings.repeated)
            json.element({ { "uuid", jsonText(uuid) }, { "recordCount", count } });
        json.end();
    }

    std::vector<std::string> files_;
    std::string repair_;
    bool json_ = false;
    bool hasDamage_ = false;
    bool hasFailed_ = false;
};

} // namespace

std::unique_ptr<Command> checkCommand()
{
    return std::make_unique<CheckCommand>();
}
