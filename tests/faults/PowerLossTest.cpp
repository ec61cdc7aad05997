#include "FaultyCalls.h"
#include "FileSystemInMemory.h"
#include "Synchronisation.h"
#include "VaultHistory.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

// The power goes before each system call of a synchronisation, and behind its last. All that may be there then is
// looked at: every file must be whole, old or new, and behind a success new.

namespace {

using Tree = FileSystemInMemory::Tree;

/// Answers numbers such that all sequences of answers come up, one after the other.
class AllChoices {
public:
    std::size_t operator()(std::size_t bound)
    {
        if (position == choices.size())
            choices.push_back({ 0, bound });
        return choices[position++].first;
    }

    /// False behind the last sequence.
    bool next()
    {
        position = 0;
        while (!choices.empty() && ++choices.back().first == choices.back().second)
            choices.pop_back();
        return !choices.empty();
    }

private:
    std::vector<std::pair<std::size_t, std::size_t>> choices; // answer and bound
    std::size_t position = 0;
};

constexpr std::size_t kMostPerCut = 1000; // where there are more, so many random ones come behind the first

/// The two vaults of a run, in one folder or in two, and every state after a power cut.
class PowerCuts {
public:
    PowerCuts(uint64_t seed, const std::string& secondPath)
        : before(VaultHistory(seed).pair())
        , second(secondPath)
        , files({ { kFirst, before.first }, { second, before.second } })
    {
        clock.step = 1;
    }

    /// The run, and the states; answers what is wrong with the first bad one, or nothing.
    std::string run()
    {
        FaultyCalls calls(files);
        calls.beforeEachCall = [this](FaultyCalls::Call) { collect(during); };
        {
            const StFileSystemCalls inPlace(calls);
            EXPECT_EQ(Synchronisation(clock).run(kFirst, second), SynchronizeFiles::kSuccess);
        }
        collect(behind);
        after = { files.tree().at(kFirst), files.tree().at(second) };
        EXPECT_TRUE(isWhole(after.first) && isWhole(after.second));
        for (const Tree& tree : during) {
            if (!isOneOf(tree, kFirst, { before.first, after.first })
                || !isOneOf(tree, second, { before.second, after.second }))
                return "a file is neither old nor new";
        }
        for (const Tree& tree : behind) {
            if (!isOneOf(tree, kFirst, { after.first }) || !isOneOf(tree, second, { after.second }))
                return "a success is not there any more";
        }
        return "";
    }

    /// After the cut people break the locks that stand, and run again: all is as after an undisturbed run.
    void expectRepair(const Tree& tree)
    {
        FileSystemInMemory rest(tree);
        const StFileSystemCalls inPlace(rest);
        for (const std::string& path : { std::string(kFirst), second }) {
            const std::size_t name = path.rfind('/') + 1;
            LinuxLockSystem().lockWithPath(path.substr(0, name) + "." + path.substr(name))->breakLock();
        }
        EXPECT_EQ(Synchronisation(clock).run(kFirst, second), SynchronizeFiles::kSuccess);
        EXPECT_TRUE(stateOf(rest.tree().at(kFirst)) == stateOf(after.first));
        EXPECT_TRUE(stateOf(rest.tree().at(second)) == stateOf(after.second));
        for (const auto& [path, bytes] : rest.tree())
            EXPECT_TRUE(path.back() == '/' || path == kFirst || path == second) << path;
    }

    std::size_t states() const { return during.size() + behind.size(); }

    static constexpr char kFirst[] = "/laptop/a.vlr";

    const VaultPair before;
    const std::string second;
    FileSystemInMemory files;
    VaultPair after;
    std::set<Tree> during;
    std::set<Tree> behind;

private:
    void collect(std::set<Tree>& states)
    {
        if (&states == &during && files.changes() == changesSeen)
            return;
        changesSeen = files.changes();
        AllChoices choices;
        for (std::size_t n = 0; n < kMostPerCut; ++n) {
            states.insert(files.afterPowerCut([&](std::size_t bound) { return choices(bound); }));
            if (!choices.next())
                return;
        }
        for (std::size_t n = 0; n < kMostPerCut; ++n)
            states.insert(files.afterPowerCut([&](std::size_t bound) { return random() % bound; }));
    }

    static bool isOneOf(const Tree& tree, const std::string& path, const std::set<std::string>& contents)
    {
        const auto found = tree.find(path);
        return found != tree.end() && contents.count(found->second) > 0;
    }

    StNoLog log;
    ClockStandIn clock;
    std::mt19937_64 random { 4711 };
    std::size_t changesSeen = SIZE_MAX;
};

constexpr char kSameFolder[] = "/laptop/b.vlr";
constexpr char kOtherFolder[] = "/stick/b.vlr";

TEST(PowerLoss, EveryStateHoldsWholeFilesAndEverySuccessLasts)
{
    std::size_t states = 0;
    for (uint64_t seed = 1; states < 10000 && !::testing::Test::HasFailure(); ++seed) {
        for (const char* const second : { kSameFolder, kOtherFolder }) {
            PowerCuts cuts(seed, second);
            EXPECT_EQ(cuts.run(), "") << "seed " << seed;
            states += cuts.states();
        }
        ASSERT_LT(seed, 1000u);
    }
    RecordProperty("states", static_cast<int>(states));
}

TEST(PowerLoss, TheNextRunRepairsEveryState)
{
    PowerCuts cuts(/*seed=*/1, kSameFolder);
    EXPECT_EQ(cuts.run(), "");
    std::size_t number = 0;
    for (const Tree& tree : cuts.during) {
        if (number++ % 10 == 0)
            cuts.expectRepair(tree);
    }
}

// That the test above would notice:

TEST(PowerLoss, WithoutTheFoldersSyncASuccessCanBeLost)
{
    PowerCuts cuts(/*seed=*/1, kSameFolder);
    cuts.files.syncsFolders = false;
    EXPECT_EQ(cuts.run(), "a success is not there any more");
}

TEST(PowerLoss, WithoutTheFilesSyncAFileCanBeHalf)
{
    PowerCuts cuts(/*seed=*/1, kSameFolder);
    cuts.files.syncsFiles = false;
    EXPECT_EQ(cuts.run(), "a file is neither old nor new");
}

} // namespace
