#include "AllCommands.h"

#include "Console.h"
#include "ExitStatus.h"
#include "Json.h"
#include "NSFileManager.h"
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
    struct stat status { };
    return ::stat(path.c_str(), &status) == 0 ? status.st_mtime : 0;
}

/// Absent if the file can't be read.
std::optional<uint64_t> sizeOfReadable(const std::string& path)
{
    const std::optional<NSData> bytes = LinuxFileManager().dataWithContentsOfFile(path);
    return bytes ? std::optional<uint64_t>(bytes->length()) : std::nullopt;
}

nlohmann::ordered_json jsonOfTime(std::time_t time)
{
    return time == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(utcTimeText(time));
}

/// What a failure says behind the path that it concerns.
std::string withoutPath(const std::string& failure, const std::string& path)
{
    const std::string begin = path + ": ";
    return failure.starts_with(begin) ? failure.substr(begin.size()) : failure;
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
            { "--content", "", "", "tell of the file's bytes alone, whatever they are, and not of its path and date",
                &contentOnly_ },
            { "--json", "", "", "tell it to programs", &json_ } };
        page.description = {
            "Tells of each vault its identity, the identity of the vault with which it was last synchronised, its "
            "records by category, the number of deletions, when the program that wrote it opened it, when its file was "
            "changed, the order in which programs show the records, its size, and damage with its place in the file.",
            "Of several vaults it tells which of them have the same master password. Nothing of this needs the "
            "password, and what it protects is not shown: titles, names, passwords and notes.",
            "With --records each record stands on a line: UUID, category, the length of the encrypted part, and "
            "whether it was changed since the last synchronisation.",
            "With --content the text depends on the file's bytes alone, and any file has one, as git's diffs want it.",
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
            putAll(JsonOutput(console, "info"));
        else
            console.data(textOfAll(console));
        return hasFailed_ ? kFailed : kDone;
    }

private:
    struct Looked {
        std::string path;
        std::optional<VaultContents> vault; // absent if it couldn't be read
        std::string failure;
        std::optional<uint64_t> size; // of what could be read and is no vault
    };

    void look(const std::string& path, Console& console)
    {
        Looked& looked = looked_.emplace_back(Looked { path, std::nullopt, "", std::nullopt });
        try {
            looked.vault.emplace(readVault(path));
        } catch (const CommandFailure& failure) {
            looked.failure = failure.what();
            console.complain(printable(failure.what()));
            looked.size = sizeOfReadable(path);
            hasFailed_ = hasFailed_ || !contentOnly_ || !looked.size;
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
            else if (contentOnly_ && looked.size)
                text += "no vault\n" + field("size", counted(*looked.size, "byte", "bytes"));
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
            std::size_t columns = 0; // in git's diffs a new category must not change the lines of other records
            for (const VaultRecord& record : vault.records)
                columns = contentOnly_ ? 0 : widened(columns, record);
            for (const VaultRecord& record : vault.records)
                text += "  " + lineOf(record, columns) + "\n";
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

    void putAll(JsonOutput json) const
    {
        const auto numbers = masters();
        json.beginList("files");
        for (const Looked& looked : looked_) {
            json.beginObject();
            if (!contentOnly_)
                json.member("path", jsonText(looked.path));
            if (looked.vault)
                put(json, looked, numbers.at(looked.vault->referenceBuffer));
            else
                json.member(
                    "error", jsonText(contentOnly_ ? withoutPath(looked.failure, looked.path) : looked.failure));
            json.end();
        }
        json.finish();
    }

    void put(JsonOutput& json, const Looked& looked, std::size_t master) const
    {
        const VaultContents& vault = *looked.vault;
        json.member("version", 4);
        json.member("identity", jsonText(vault.identity));
        json.member("partner", jsonText(vault.partner));
        json.member("master", master);
        json.member("recordCount", vault.records.size());
        json.beginList("categories");
        for (const auto& [category, count] : categoriesOf(vault))
            json.element({ { "category", jsonText(category) }, { "recordCount", count } });
        json.end();
        json.member("deletionCount", vault.deletions.size());
        json.member("opened", jsonOfTime(timeOf(vault.openDate)));
        if (!contentOnly_)
            json.member("modified", jsonOfTime(modificationTimeOf(looked.path)));
        json.member("sortField", vault.sortField);
        json.member("sortDescending", vault.sortDescending);
        json.member("size", vault.bytes().length());
        putDamage(json, "damage", vault.damage, vault);
        if (withRecords_)
            putRecords(json, "records", vault.records);
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
