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

    std::vector<VaultDamage> damage;
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
        page.options = { { "--repair", "", "OUT", "write what is whole of one FILE to a new file", &repair_, Completion::AnyFile },
            { "--json", "", "", "tell it to programs", &json_ } };
        page.description = {
            "Reads all that can be read without the password, and tells of each damaged place where in the file it is and "
            "what is wrong with it. It tells of UUIDs that several records have, too: that is no damage, and comes of one "
            "record that was put into different categories in two copies.",
            "With --repair it writes the records that are whole to a new file, with the vault's identity, deletions and "
            "preferences, and lists what could not be saved. FILE stays as it is, and a file that is there is never "
            "replaced. A record of an older format is kept as it is: open the vault once in a program that knows its "
            "password before you synchronise it.",
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
        document_ = jsonDocument("check");
        document_["files"] = nlohmann::ordered_json::array();
        for (const std::string& path : files_)
            check(path, console);
        if (json_)
            printJson(console, document_);
        else
            console.data(text_);
        return hasFailed_ ? kFailed : hasDamage_ ? kLookAtIt : kDone;
    }

private:
    void check(const std::string& path, Console& console)
    {
        nlohmann::ordered_json json;
        json["path"] = jsonText(path);
        try {
            const VaultContents vault = readVault(path);
            const Findings findings(vault);
            hasDamage_ = hasDamage_ || findings.damagedPlaces() > 0;
            report(path, vault, findings, json);
            if (!repair_.empty())
                repair(vault, console, json);
        } catch (const CommandFailure& failure) {
            if (failure.status() == kRefused)
                throw;
            json["error"] = jsonText(failure.what());
            console.complain(printable(failure.what()));
            hasFailed_ = true;
        }
        document_["files"].push_back(std::move(json));
    }

    void report(const std::string& path, const VaultContents& vault, const Findings& findings, nlohmann::ordered_json& json)
    {
        const std::size_t places = findings.damagedPlaces();
        text_ += printable(path) + ": " + counted(vault.records.size(), "record", "records") + ", "
            + (places == 0 ? "whole" : counted(places, "damaged place", "damaged places")) + "\n";
        if (findings.noPasswordFits)
            text_ += "  the reference buffer has a wrong length: no password opens the vault\n";
        for (const VaultDamage& damage : findings.damage)
            text_ += "  " + lineOf(damage, vault) + "\n";
        for (const VaultRecord& record : findings.unreadable)
            text_ += "  at byte " + std::to_string(record.offset)
                + ": the encrypted part has a wrong length: no password reads it (record " + printable(record.uuid) + ")\n";
        for (const auto& [uuid, count] : findings.repeated)
            text_ += "  " + counted(count, "record has", "records have") + " the UUID " + printable(uuid) + "\n";
        json["recordCount"] = vault.records.size();
        json["noPasswordFits"] = findings.noPasswordFits;
        json["damage"] = jsonOfDamage(vault);
        json["unreadable"] = nlohmann::ordered_json::array();
        for (const VaultRecord& record : findings.unreadable)
            json["unreadable"].push_back(jsonOf(record));
        json["repeated"] = nlohmann::ordered_json::array();
        for (const auto& [uuid, count] : findings.repeated)
            json["repeated"].push_back({ { "uuid", jsonText(uuid) }, { "recordCount", count } });
    }

    void repair(const VaultContents& vault, Console& console, nlohmann::ordered_json& json)
    {
        std::vector<VaultDamage> lost;
        const NSData repaired = repairedVault(vault, lost);
        writeNewVault(repair_, repaired);
        console.workIsDone();
        const std::size_t saved = VaultContents(repaired).records.size();
        text_ += printable(repair_) + ": written with " + counted(saved, "record", "records") + "\n";
        for (const VaultDamage& damage : lost)
            text_ += "  lost " + lineOf(damage, vault) + "\n";
        json["repaired"] = jsonText(repair_);
        json["saved"] = saved;
        json["lost"] = nlohmann::ordered_json::array();
        for (const VaultDamage& damage : lost)
            json["lost"].push_back(jsonOf(damage, vault));
    }

    std::vector<std::string> files_;
    std::string repair_;
    bool json_ = false;
    std::string text_;
    nlohmann::ordered_json document_;
    bool hasDamage_ = false;
    bool hasFailed_ = false;
};

} // namespace

std::unique_ptr<Command> checkCommand()
{
    return std::make_unique<CheckCommand>();
}
