#include "AllCommands.h"

#include "Console.h"
#include "ExitStatus.h"
#include "Json.h"
#include "VaultContents.h"
#include "VaultDifference.h"
#include "VaultText.h"

#include <nlohmann/json.hpp>

namespace {

/// One kind of difference: how many there are, and their records.
struct Part {
    std::string heading; // "only in a.vlr"
    std::size_t count = 0;
    std::vector<std::string> lines;
};

class DiffCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page;
        page.name = "diff";
        page.summary = "tell by record in what two vaults differ";
        page.operands = { { "A", "a vault", &a_ }, { "B", "another", &b_ } };
        page.options = { { "--records", "", "", "list the records as well, as -v does", &withRecords_ },
            { "--json", "", "", "tell it to programs", &json_ } };
        page.description = {
            "Compares the records by their UUIDs. A UUID names one version of a record: an edit gives the record a new one "
            "and lists the old one as deleted. So a record that was edited on one side shows as one that is only there, and "
            "one that this side has deleted.",
            "A likely pair are two records, one only in each vault, whose encrypted parts begin with the same blocks: most "
            "likely two versions of one record that was edited on both sides. A synchronisation keeps both.",
            "Of records with the same UUID and category but another encrypted part each side keeps its own.",
            "The exit status is 0 without a difference and 1 with one.",
        };
        page.examples = { { "vellorin diff ~/vault.vlr /media/stick/vault.vlr", "count the differences" },
            { "vellorin diff -v vault.vlr backup.vlr", "list them" } };
        return page;
    }

    int run(Console& console) override
    {
        const VaultContents a = readVault(a_);
        const VaultContents b = readVault(b_);
        const VaultDifference difference = differenceOf(a, b);
        const bool haveSameMaster = a.referenceBuffer == b.referenceBuffer;
        if (!haveSameMaster)
            console.say(printable(a_) + " and " + printable(b_) + ": the master passwords differ");
        if (json_)
            printJson(console, jsonOf(a, b, difference));
        else
            console.data(textOf(partsOf(a, b, difference), difference, console));
        return isSame(difference) && haveSameMaster ? kDone : kLookAtIt;
    }

private:
    static bool isSame(const VaultDifference& difference) { return difference.inStep && difference.otherBody.empty(); }

    std::vector<Part> partsOf(const VaultContents& a, const VaultContents& b, const VaultDifference& difference) const
    {
        const std::string nameOfA = printable(a_);
        const std::string nameOfB = printable(b_);
        return {
            partOf("only in " + nameOfA, difference.newInA, a),
            partOf("only in " + nameOfB, difference.newInB, b),
            partOf("in " + nameOfA + ", deleted by " + nameOfB, difference.deletedByB, a),
            partOf("in " + nameOfB + ", deleted by " + nameOfA, difference.deletedByA, b),
            partOf("only in " + nameOfA + ", which lists them as deleted itself", difference.selfDeletedInA, a),
            partOf("only in " + nameOfB + ", which lists them as deleted itself", difference.selfDeletedInB, b),
            partOf("in both, in different categories", difference.otherCategory, a, b),
            partOf("in both, with different encrypted parts", difference.otherBody, a, b),
            partOf("likely pairs: two versions of one record", difference.likelyPairs, a, b),
            { "deletions only in " + nameOfA, difference.deletionsOnlyInA, {} },
            { "deletions only in " + nameOfB, difference.deletionsOnlyInB, {} },
            { "the same in both", difference.same, {} },
        };
    }

    static Part partOf(const std::string& heading, const std::vector<uint32_t>& records, const VaultContents& vault)
    {
        Part part { heading, records.size(), {} };
        for (const uint32_t record : records)
            part.lines.push_back(lineOf(vault.records[record]));
        return part;
    }

    template <class Match>
    static Part partOf(
        const std::string& heading, const std::vector<Match>& matches, const VaultContents& a, const VaultContents& b)
    {
        Part part { heading, matches.size(), {} };
        for (const Match& match : matches)
            part.lines.push_back(lineOf(a.records[match.a]) + "  |  " + lineOf(b.records[match.b]));
        return part;
    }

    /// Counts first, then the records.
    std::string textOf(const std::vector<Part>& parts, const VaultDifference& difference, const Console& console) const
    {
        std::string counts;
        std::string lists;
        for (const Part& part : parts) {
            if (part.count == 0)
                continue;
            counts += std::string(std::max<std::size_t>(grouped(part.count).size(), 7) - grouped(part.count).size(), ' ')
                + grouped(part.count) + "  " + part.heading + "\n";
            if (!part.lines.empty())
                lists += "\n" + console.bold(part.heading) + "\n";
            for (const std::string& line : part.lines)
                lists += "  " + line + "\n";
        }
        const std::string text = isSame(difference) ? "no difference\n" + counts : counts;
        return withRecords_ || console.manner().verbose ? text + lists : text;
    }

    nlohmann::ordered_json jsonOf(const VaultContents& a, const VaultContents& b, const VaultDifference& difference) const
    {
        nlohmann::ordered_json document = jsonDocument("diff");
        document["a"] = jsonText(a_);
        document["b"] = jsonText(b_);
        document["sameMaster"] = a.referenceBuffer == b.referenceBuffer;
        document["inStep"] = difference.inStep;
        document["onlyInA"] = jsonOfList(difference.newInA, a);
        document["onlyInB"] = jsonOfList(difference.newInB, b);
        document["deletedByB"] = jsonOfList(difference.deletedByB, a);
        document["deletedByA"] = jsonOfList(difference.deletedByA, b);
        document["selfDeletedInA"] = jsonOfList(difference.selfDeletedInA, a);
        document["selfDeletedInB"] = jsonOfList(difference.selfDeletedInB, b);
        document["otherCategory"] = jsonOfList(difference.otherCategory, a, b);
        document["otherBody"] = jsonOfList(difference.otherBody, a, b);
        document["likelyPairs"] = jsonOfList(difference.likelyPairs, a, b);
        document["deletionsOnlyInA"] = difference.deletionsOnlyInA;
        document["deletionsOnlyInB"] = difference.deletionsOnlyInB;
        document["same"] = difference.same;
        return document;
    }

    static nlohmann::ordered_json jsonOfList(const std::vector<uint32_t>& records, const VaultContents& vault)
    {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const uint32_t record : records)
            list.push_back(::jsonOf(vault.records[record]));
        return list;
    }

    template <class Match>
    static nlohmann::ordered_json jsonOfList(
        const std::vector<Match>& matches, const VaultContents& a, const VaultContents& b)
    {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const Match& match : matches) {
            nlohmann::ordered_json entry;
            entry["a"] = ::jsonOf(a.records[match.a]);
            entry["b"] = ::jsonOf(b.records[match.b]);
            list.push_back(std::move(entry));
        }
        return list;
    }

    std::string a_;
    std::string b_;
    bool withRecords_ = false;
    bool json_ = false;
};

} // namespace

std::unique_ptr<Command> diffCommand()
{
    return std::make_unique<DiffCommand>();
}
