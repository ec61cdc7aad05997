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
            "Compares the records by their UUIDs. A UUID names one version of a record: an edit gives the record a new "
            "one and lists the old one as deleted. So a record that was edited on one side shows as one that is only "
            "there, and one that this side has deleted.",
            "A likely pair are two records, one only in each vault, whose encrypted parts begin with the same blocks: "
            "most likely two versions of one record that was edited on both sides. A synchronisation keeps both.",
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
        if (json_)
            put(JsonOutput(console, "diff"), a, b, difference);
        else
            console.data(headOf(difference, haveSameMaster) + textOf(partsOf(a, b, difference), console));
        return isSame(difference) && haveSameMaster ? kDone : kLookAtIt;
    }

private:
    static bool isSame(const VaultDifference& difference) { return difference.inStep && difference.otherBody.empty(); }

    static std::string headOf(const VaultDifference& difference, bool haveSameMaster)
    {
        if (!haveSameMaster)
            return "the master passwords differ\n";
        return isSame(difference) ? "no difference\n" : "";
    }

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
        std::size_t columns = 0;
        for (const uint32_t record : records)
            columns = widened(columns, vault.records[record]);
        for (const uint32_t record : records)
            part.lines.push_back(lineOf(vault.records[record], columns));
        return part;
    }

    template <class Match>
    static Part partOf(
        const std::string& heading, const std::vector<Match>& matches, const VaultContents& a, const VaultContents& b)
    {
        Part part { heading, matches.size(), {} };
        std::size_t columns = 0;
        for (const Match& match : matches)
            columns = widened(columns, a.records[match.a]);
        for (const Match& match : matches)
            part.lines.push_back(lineOf(a.records[match.a], columns) + "  |  " + lineOf(b.records[match.b]));
        return part;
    }

    /// Counts first, then the records.
    std::string textOf(const std::vector<Part>& parts, const Console& console) const
    {
        std::string counts;
        std::string lists;
        for (const Part& part : parts) {
            if (part.count == 0)
                continue;
            counts
                += std::string(std::max<std::size_t>(grouped(part.count).size(), 7) - grouped(part.count).size(), ' ')
                + grouped(part.count) + "  " + part.heading + "\n";
            if (!part.lines.empty())
                lists += "\n" + console.bold(part.heading) + "\n";
            for (const std::string& line : part.lines)
                lists += "  " + line + "\n";
        }
        return withRecords_ || console.manner().verbose ? counts + lists : counts;
    }

    void put(JsonOutput json, const VaultContents& a, const VaultContents& b, const VaultDifference& difference) const
    {
        json.member("a", jsonText(a_));
        json.member("b", jsonText(b_));
        json.member("sameMaster", a.referenceBuffer == b.referenceBuffer);
        json.member("inStep", difference.inStep);
        putList(json, "onlyInA", difference.newInA, a);
        putList(json, "onlyInB", difference.newInB, b);
        putList(json, "deletedByB", difference.deletedByB, a);
        putList(json, "deletedByA", difference.deletedByA, b);
        putList(json, "selfDeletedInA", difference.selfDeletedInA, a);
        putList(json, "selfDeletedInB", difference.selfDeletedInB, b);
        putList(json, "otherCategory", difference.otherCategory, a, b);
        putList(json, "otherBody", difference.otherBody, a, b);
        putList(json, "likelyPairs", difference.likelyPairs, a, b);
        json.member("deletionsOnlyInA", difference.deletionsOnlyInA);
        json.member("deletionsOnlyInB", difference.deletionsOnlyInB);
        json.member("same", difference.same);
        json.finish();
    }

    static void putList(
        JsonOutput& json, const std::string& name, const std::vector<uint32_t>& records, const VaultContents& vault)
    {
        json.beginList(name);
        for (const uint32_t record : records)
            json.element(jsonOf(vault.records[record]));
        json.end();
    }

    template <class Match>
    static void putList(JsonOutput& json, const std::string& name, const std::vector<Match>& matches,
        const VaultContents& a, const VaultContents& b)
    {
        json.beginList(name);
        for (const Match& match : matches)
            json.element({ { "a", jsonOf(a.records[match.a]) }, { "b", jsonOf(b.records[match.b]) } });
        json.end();
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
