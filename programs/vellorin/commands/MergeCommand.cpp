#include "AllCommands.h"

#include "Console.h"
#include "ExitStatus.h"
#include "Json.h"
#include "ProvedMerge.h"
#include "VaultContents.h"
#include "VaultDifference.h"
#include "VaultFile.h"
#include "VaultObjections.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

namespace {

constexpr char kStandardOutput[] = "-";

class MergeCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page;
        page.name = "merge";
        page.summary = "merge two vaults into a third file";
        page.operands = { { "A", "a vault", &a_ }, { "B", "another", &b_ } };
        page.options
            = { { "--output", "-o", "OUT", "the file to make, or - for standard output", &out_, Completion::AnyFile },
                  { "--base", "", "O", "the vault that both come from", &base_, Completion::Vault },
                  { "--force", "", "", "replace OUT if it is there", &force_ },
                  { "--allow-removals", "", "", "merge also if that removes many records", &allowRemovals_ },
                  { "--allow-unrelated", "", "", "merge also vaults that have nothing in common", &allowUnrelated_ },
                  { "--allow-damage", "", "", "merge also if damaged entries get lost", &allowDamage_ },
                  { "--json", "", "", "tell programs what was merged", &json_ } };
        page.description = {
            "Makes a vault of all that A and B have, less what one of them has deleted, and leaves both as they are. "
            "It takes no lock and tells no program. The result is the same whichever of the two comes first.",
            "A record that was edited on both sides stays twice. Where a record's encrypted part differs under one "
            "UUID, the side wins that differs from the base; without a base that can tell, either may.",
            "Vaults with different master passwords can't be merged. It is refused, unless an option or, at a "
            "terminal, the user says otherwise: if a side has damage, if the two have no record, deletion or identity "
            "in common, and if more than 10 records and more than a quarter of a side would be removed.",
            "The exit status is 1 if there are records to look at because they stand twice. As a merge program of "
            "Unison, for which only 0 will do: merge = Name *.vlr -> vellorin merge CURRENT1 CURRENT2 -o NEW || test "
            "$? -eq 1",
        };
        page.examples = { { "vellorin merge laptop.vlr nas.vlr -o both.vlr", "make a third vault of two" },
            { "vellorin merge a.vlr b.vlr -o - | ssh nas 'cat > vault.vlr'", "send the result through a pipe" } };
        return page;
    }

    int run(Console& console) override
    {
        checkOutput();
        const VaultContents a = readVault(a_);
        const VaultContents b = readVault(b_);
        std::optional<VaultContents> base;
        if (!base_.empty())
            base.emplace(readVault(base_));
        const VaultDifference difference = differenceOf(a, b);
        askAboutObjections({ a_, a }, { b_, b }, difference, console);
        const NSData merged = provedMerge(a, b, base ? &*base : nullptr);
        write(merged, console);
        report(VaultContents(merged), difference, console);
        return keptTwice(difference) > 0 ? kLookAtIt : kDone;
    }

private:
    bool goesToStandardOutput() const { return out_ == kStandardOutput; }

    static std::size_t keptTwice(const VaultDifference& difference)
    {
        return difference.otherCategory.size() + difference.likelyPairs.size();
    }

    void checkOutput() const
    {
        if (out_.empty())
            throw CommandFailure(kRefused, "name the file to make with -o");
        if (goesToStandardOutput() && ::isatty(STDOUT_FILENO) != 0)
            throw CommandFailure(kRefused, "a vault is nothing for a terminal: send standard output elsewhere");
        if (goesToStandardOutput() && json_)
            throw CommandFailure(kRefused, "standard output can't take both the vault and --json");
        for (const std::string* const input : { &a_, &b_, &base_ }) {
            if (!goesToStandardOutput() && areOneFile(*input, out_))
                throw CommandFailure(kRefused, out_ + ": is one of the vaults to merge, and stays as it is");
        }
    }

    void askAboutObjections(
        const NamedVault& a, const NamedVault& b, const VaultDifference& difference, Console& console) const
    {
        if (const auto objection = objectionToMasters(a, b))
            throw CommandFailure(kRefused, *objection);
        ask(objectionToDamage(a), allowDamage_, "--allow-damage", console);
        ask(objectionToDamage(b), allowDamage_, "--allow-damage", console);
        ask(objectionToUnrelated(a, b, difference), allowUnrelated_, "--allow-unrelated", console);
        ask(objectionToRemovals(a, difference.goFromA(), difference.selfDeletedInA.size(), b), allowRemovals_,
            "--allow-removals", console);
        ask(objectionToRemovals(b, difference.goFromB(), difference.selfDeletedInB.size(), a), allowRemovals_,
            "--allow-removals", console);
    }

    static void ask(const std::optional<std::string>& objection, bool isAllowed, const char* option, Console& console)
    {
        if (objection && !isAllowed && !console.confirm(printable(*objection) + ". Merge them all the same?"))
            throw CommandFailure(kRefused, *objection + " (" + option + " merges them all the same)");
    }

    void write(const NSData& merged, Console& console) const
    {
        if (goesToStandardOutput())
            console.data({ reinterpret_cast<const char*>(merged.bytes()), merged.length() });
        else if (force_)
            replaceVault(out_, merged);
        else
            writeNewVault(out_, merged);
        console.workIsDone();
    }

    void report(const VaultContents& merged, const VaultDifference& difference, Console& console) const
    {
        if (json_) {
            nlohmann::ordered_json document = jsonDocument("merge");
            document["a"] = jsonText(a_);
            document["b"] = jsonText(b_);
            document["output"] = jsonText(out_);
            document["recordCount"] = merged.records.size();
            document["deletionCount"] = merged.deletions.size();
            document["fromA"] = difference.newInA.size();
            document["fromB"] = difference.newInB.size();
            document["deletedByA"] = difference.deletedByA.size();
            document["deletedByB"] = difference.deletedByB.size();
            document["selfDeletedInA"] = difference.selfDeletedInA.size();
            document["selfDeletedInB"] = difference.selfDeletedInB.size();
            document["keptTwice"] = keptTwice(difference);
            printJson(console, document);
        }
        console.say(counted(merged.records.size(), "record", "records") + ": " + grouped(difference.newInA.size())
            + " only from " + printable(a_) + ", " + grouped(difference.newInB.size()) + " only from " + printable(b_));
        if (keptTwice(difference) > 0)
            console.say(counted(keptTwice(difference), "record stands", "records stand") + " twice: look at "
                + (keptTwice(difference) == 1 ? "it" : "them"));
    }

    std::string a_;
    std::string b_;
    std::string out_;
    std::string base_;
    bool force_ = false;
    bool allowRemovals_ = false;
    bool allowUnrelated_ = false;
    bool allowDamage_ = false;
    bool json_ = false;
};

} // namespace

std::unique_ptr<Command> mergeCommand()
{
    return std::make_unique<MergeCommand>();
}
