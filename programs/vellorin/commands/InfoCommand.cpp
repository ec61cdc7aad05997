#include "AllCommands.h"

#include "Console.h"
#include "ExitStatus.h"
#include "Json.h"
#include "TimeText.h"
#include "VaultContents.h"
#include "VaultText.h"

#include <nlohmann/json.hpp>

#include <map>
#include <optional>

#include <sys/stat.h>

namespace {

/// Of the file's last change; 0 if that can't be told.
std::time_t modificationTimeOf(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mtime : 0;
}

std::string field(const std::string& name, const std::string& value)
{
    return name + std::string(13 - name.size(), ' ') + value + "\n";
}

/// "12: 5 Money, 4 Mail, 3 without category"
std::string recordsOf(const VaultContents& vault)
{
    std::string text = grouped(vault.records.size());
    const char* separator = ": ";
    for (const auto& [category, count] : categoriesOf(vault)) {
        text += separator + grouped(count) + " " + (category.empty() ? "without category" : printable(category));
        separator = ", ";
    }
    return text;
}

class InfoCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page;
        page.name = "info";
        page.summary = "tell what vaults hold";
        page.operands = { { "FILE", "a vault", &files_, 1, CommandPage::kAny } };
        page.options = { { "--records", "", "", "list the records as well", &withRecords_ },
            { "--content", "", "", "leave out what isn't in the vault itself: its path and its file's date", &contentOnly_ },
            { "--json", "", "", "tell it to programs", &json_ } };
        page.description = {
            "Tells of each vault its identity, the identity of the vault with which it was last synchronised, its records "
            "by category, the number of deletions, when the program that wrote it opened it, when its file was changed, "
            "the order in which programs show the records, its size, and damage with its place in the file.",
            "Of several vaults it tells which of them have the same master password. Nothing of this needs the password, "
            "and what it protects is not shown: titles, names, passwords and notes.",
            "With --records each record stands on a line: UUID, category, the length of the encrypted part, and whether it "
            "was changed since the last synchronisation.",
        };
        page.examples = { { "vellorin info ~/vault.vlr /media/stick/vault.vlr",
                              "tell what both hold, and whether they have the same master password" },
            { "vellorin info --records --json vault.vlr | jq", "list all records for a program" } };
        return page;
    }

    int run(Console& console) override
    {
        for (const std::string& path : files_)
            look(path, console);
        if (json_)
            printJson(console, jsonOfAll());
        else
            console.data(textOfAll(console));
        return hasFailed_ ? kFailed : kDone;
    }

private:
    struct Looked {
        std::string path;
        std::optional<VaultContents> vault; // absent if it couldn't be read
        std::string failure;
    };

    void look(const std::string& path, Console& console)
    {
        Looked& looked = looked_.emplace_back(Looked { path, std::nullopt, "" });
        try {
            looked.vault.emplace(readVault(path));
        } catch (const CommandFailure& failure) {
            looked.failure = failure.what();
            console.complain(printable(failure.what()));
            hasFailed_ = true;
        }
    }

    /// The same number for vaults with the same master password, counted from 1.
    std::map<std::string_view, std::size_t> masters() const
    {
        std::map<std::string_view, std::size_t> numbers;
        for (const Looked& looked : looked_) {
            if (looked.vault)
                numbers.try_emplace(looked.vault->referenceBuffer, numbers.size() + 1);
        }
        return numbers;
    }

    std::string textOfAll(const Console& console) const
    {
        std::string text;
        for (const Looked& looked : looked_) {
            if (looked.vault)
                text += (text.empty() ? "" : "\n") + textOf(looked, console);
        }
        return looked_.size() > 1 ? text + textOfMasters() : text;
    }

    std::string textOf(const Looked& looked, const Console& console) const
    {
        const VaultContents& vault = *looked.vault;
        std::string text = contentOnly_ ? "" : console.bold(printable(looked.path)) + "\n";
        text += field("version", "4");
        text += field("identity", vault.identity.empty() ? "none yet" : printable(vault.identity));
        text += field("partner", vault.partner.empty() ? "none yet" : printable(vault.partner));
        text += field("records", recordsOf(vault));
        text += field("deletions", grouped(vault.deletions.size()));
        text += field("opened", localTimeText(timeOf(vault.openDate)));
        if (!contentOnly_)
            text += field("modified", localTimeText(modificationTimeOf(looked.path)));
        text += field("sort order", sortOrderOf(vault));
        text += field("size", counted(vault.bytes().length(), "byte", "bytes"));
        text += field("damage", vault.damage.empty() ? "none" : console.warning(grouped(vault.damage.size())));
        for (const VaultDamage& damage : vault.damage)
            text += "  " + lineOf(damage, vault) + "\n";
        if (withRecords_) {
            for (const VaultRecord& record : vault.records)
                text += "  " + lineOf(record) + "\n";
        }
        return text;
    }

    std::string textOfMasters() const
    {
        std::map<std::size_t, std::string> groups;
        const auto numbers = masters();
        for (const Looked& looked : looked_) {
            if (!looked.vault)
                continue;
            std::string& group = groups[numbers.at(looked.vault->referenceBuffer)];
            group += (group.empty() ? "" : ", ") + printable(looked.path);
        }
        if (groups.size() == 1)
            return "\nAll have the same master password.\n";
        std::string text = groups.empty() ? "" : "\nThe master passwords differ:\n";
        for (const auto& [number, names] : groups)
            text += "  " + std::to_string(number) + ": " + names + "\n";
        return text;
    }

    nlohmann::ordered_json jsonOfAll() const
    {
        nlohmann::ordered_json document = jsonDocument("info");
        nlohmann::ordered_json& files = document["files"] = nlohmann::ordered_json::array();
        for (const Looked& looked : looked_)
            files.push_back(jsonOf(looked));
        return document;
    }

    nlohmann::ordered_json jsonOf(const Looked& looked) const
    {
        nlohmann::ordered_json json;
        json["path"] = jsonText(looked.path);
        if (!looked.vault) {
            json["error"] = jsonText(looked.failure);
            return json;
        }
        const VaultContents& vault = *looked.vault;
        json["version"] = 4;
        json["identity"] = jsonText(vault.identity);
        json["partner"] = jsonText(vault.partner);
        json["master"] = masters().at(vault.referenceBuffer);
        json["recordCount"] = vault.records.size();
        nlohmann::ordered_json& categories = json["categories"] = nlohmann::ordered_json::array();
        for (const auto& [category, count] : categoriesOf(vault))
            categories.push_back({ { "category", jsonText(category) }, { "recordCount", count } });
        json["deletionCount"] = vault.deletions.size();
        json["opened"] = utcTimeText(timeOf(vault.openDate));
        json["modified"] = utcTimeText(modificationTimeOf(looked.path));
        json["sortField"] = vault.sortField;
        json["sortDescending"] = vault.sortDescending;
        json["size"] = vault.bytes().length();
        json["damage"] = jsonOfDamage(vault);
        if (withRecords_)
            json["records"] = jsonOfRecords(vault);
        return json;
    }

    std::vector<std::string> files_;
    bool withRecords_ = false;
    bool contentOnly_ = false;
    bool json_ = false;
    std::vector<Looked> looked_;
    bool hasFailed_ = false;
};

} // namespace

std::unique_ptr<Command> infoCommand()
{
    return std::make_unique<InfoCommand>();
}
