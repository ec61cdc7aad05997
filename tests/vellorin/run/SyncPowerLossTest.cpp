#include "FaultyCalls.h"
#include "FileSystemInMemory.h"
#include "LongForm.h"
#include "RunFixture.h"
#include "RunTraces.h"
#include "Undo.h"

#include <random>
#include <set>

// The power goes before each system call of a whole synchronisation, and behind its last. Of all that may be there then
// the vaults, their backups and the journal are looked at: all of it whole, and a vault that is new can be taken back.

namespace {

using Tree = FileSystemInMemory::Tree;

class SyncPowerLoss : public QuietRuns {
protected:
    static Tree treeOf(const VaultsOfRun& vaults)
    {
        return { { vaults.first(), vaults.before.first }, { vaults.second(), vaults.before.second }, { "/home/", "" } };
    }

    /// Runs, and gathers the states of a power cut before each call and behind the last.
    void run(FileSystemInMemory& files, const VaultsOfRun& vaults)
    {
        FaultyCalls calls(files);
        std::size_t changesSeen = SIZE_MAX;
        calls.beforeEachCall = [&](FaultyCalls::Call) {
            if (files.changes() != changesSeen)
                collect(files, isLongForm() ? 1000 : 20, during);
            changesSeen = files.changes();
        };
        const StFileSystemCalls inPlace(calls);
        Journal journal(vaults.journal);
        const SyncReport report = synchronizeFiles(vaults.first(), vaults.second(), options, journal, console);
        EXPECT_EQ(report.outcome, SyncReport::Outcome::Done);
        calls.beforeEachCall = nullptr;
        collect(files, isLongForm() ? 100000 : 5000, behind);
    }

    /// All states, or if there are more so many of them by chance, with that of no loss and that of the greatest.
    void collect(const FileSystemInMemory& files, std::size_t most, std::set<Tree>& states)
    {
        states.insert(files.afterPowerCut([](std::size_t) { return std::size_t { 0 }; }));
        states.insert(files.afterPowerCut([](std::size_t) { return std::size_t { 1 }; }));
        std::vector<std::pair<std::size_t, std::size_t>> choices; // answer and bound
        for (std::size_t n = 0; n < most; ++n) {
            std::size_t position = 0;
            states.insert(files.afterPowerCut([&](std::size_t bound) {
                if (position == choices.size())
                    choices.emplace_back(0, bound);
                return choices[position++].first;
            }));
            while (!choices.empty() && ++choices.back().first == choices.back().second)
                choices.pop_back();
            if (choices.empty())
                return;
        }
        for (std::size_t n = 0; n < most; ++n)
            states.insert(files.afterPowerCut([&](std::size_t bound) { return random() % bound; }));
    }

    /// What is wrong with the first bad state, or nothing.
    std::string fault(const VaultsOfRun& vaults) const
    {
        for (const Tree& tree : during) {
            const std::string found = faultIn(tree, vaults, Written::Any);
            if (!found.empty())
                return "during: " + found;
        }
        for (const Tree& tree : behind) {
            const std::string found = faultIn(tree, vaults, Written::Both);
            if (!found.empty())
                return "behind: " + found;
        }
        return "";
    }

    /// After the cut people break the locks that stand, and take the run back.
    void expectUndo(const Tree& tree, const VaultsOfRun& vaults)
    {
        FileSystemInMemory rest(tree);
        const StFileSystemCalls inPlace(rest);
        for (const std::string name : { "/.a.vlr", "/.b.vlr" })
            partners.locks.lockWithPath(vaults.folder + name)->breakLock();
        Journal journal(vaults.journal);
        undo({ vaults.first(), vaults.second() }, { false, /*confines=*/false, &partners.all }, journal, console);
        EXPECT_EQ(rest.tree().at(vaults.first()), vaults.before.first);
        EXPECT_EQ(rest.tree().at(vaults.second()), vaults.before.second);
    }

    std::set<Tree> during;
    std::set<Tree> behind;
    std::mt19937_64 random { 4714 };
};

/// The journal's folders are made by the run itself, or there already.
TEST_F(SyncPowerLoss, EveryStateIsWholeAndEverySuccessLastsWithBackupsAndJournal)
{
    for (const char* const journal : { "/home/journal", "/home/state/vellorin/journal", "/home" }) {
        SCOPED_TRACE(journal);
        const VaultsOfRun vaults(/*seed=*/360, "/vaults", journal);
        during.clear();
        behind.clear();
        FileSystemInMemory files(treeOf(vaults));
        run(files, vaults);
        EXPECT_EQ(fault(vaults), "");
        EXPECT_GT(during.size(), 200u);
        EXPECT_GT(behind.size(), 20u);
        std::size_t number = 0;
        for (const Tree& tree : behind) {
            if (HasFailure())
                return;
            if (number++ % (isLongForm() ? 1 : 10) == 0)
                expectUndo(tree, vaults);
        }
    }
}

TEST_F(SyncPowerLoss, OnAFileSystemThatCantExchangeNames)
{
    const VaultsOfRun vaults(/*seed=*/361, "/vaults", "/home/journal");
    FileSystemInMemory files(treeOf(vaults));
    files.knowsExchange = false;
    files.knowsRenamingToFreeNames = false;
    run(files, vaults);
    EXPECT_EQ(fault(vaults), "");
}

} // namespace
