#include "AllCommands.h"

#include "Console.h"
#include "ExitStatus.h"
#include "ProvedMerge.h"
#include "VaultContents.h"
#include "VaultDifference.h"
#include "VaultFile.h"
#include "VaultObjections.h"

#include <optional>

namespace {

/// What git takes for a conflict.
constexpr int kConflict = kLookAtIt;

class MergeDriverCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page;
        page.name = "merge-driver";
        page.summary = "merge vaults for git";
        page.operands = { { "BASE", "git's %O: the common ancestor; an empty file for none", &base_ },
            { "OURS", "git's %A: our version, which gets the merged vault", &ours_ },
            { "THEIRS", "git's %B: their version", &theirs_ },
            { "PATH", "git's %P: the vault's path in the repository, for messages", &path_, 1, 1,
                Completion::Nothing } };
        page.description = {
            "git runs this command by itself once \"vellorin git-setup\" has told it to. It puts the merged vault in "
            "the place of OURS at one stroke, and touches nothing else.",
            "The result doesn't depend on which side is which, so the two directions of a merge give the same vault.",
            "Anything that speaks against a merge is a conflict: different master passwords, damage, vaults that have "
            "nothing in common. The exit status is 1 then, and OURS is as it was. Merge by hand with \"vellorin "
            "merge\".",
        };
        page.examples
            = { { "vellorin merge-driver -- %O %A %B %P", "the line that git-setup writes into git's configuration" } };
        return page;
    }

    int run(Console& console) override
    {
        try {
            merge();
            return kDone;
        } catch (const CommandFailure& failure) {
            if (failure.status() != kHalfWritten)
                return conflict(failure.what(), console);
            console.complain(printable(path_) + ": merged, but " + printable(failure.what()));
            return kDone; // only a crash of the system could take the merged vault away again
        } catch (const std::bad_alloc&) {
            return conflict("not enough memory", console);
        }
    }

private:
    void merge()
    {
        const VaultContents ours = readVault(ours_);
        const VaultContents theirs = readVault(theirs_);
        const NamedVault ourVault { "our version", ours };
        const NamedVault theirVault { "their version", theirs };
        refuse(objectionToMasters(ourVault, theirVault));
        refuse(objectionToDamage(ourVault));
        refuse(objectionToDamage(theirVault));
        refuse(objectionToUnrelated(ourVault, theirVault, differenceOf(ours, theirs)));
        const std::optional<VaultContents> base = commonAncestor();
        replaceVault(ours_, provedMerge(ours, theirs, base ? &*base : nullptr));
    }

    static void refuse(const std::optional<std::string>& objection)
    {
        if (objection)
            throw CommandFailure(kRefused, *objection);
    }

    /// Absent if there is none: git has an empty file then, and may once have had something else under the name.
    std::optional<VaultContents> commonAncestor() const
    {
        try {
            return readVault(base_);
        } catch (const CommandFailure&) {
            return std::nullopt;
        }
    }

    int conflict(const std::string& reason, Console& console) const
    {
        console.complain(printable(path_) + ": not merged: " + printable(reason));
        return kConflict;
    }

    std::string base_;
    std::string ours_;
    std::string theirs_;
    std::string path_;
};

} // namespace

std::unique_ptr<Command> mergeDriverCommand()
{
    return std::make_unique<MergeDriverCommand>();
}
