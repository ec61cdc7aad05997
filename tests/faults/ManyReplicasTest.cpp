#include "LongForm.h"
#include "Synchronisation.h"
#include "VaultHistory.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <numeric>
#include <tuple>

// Any number of vaults, edited and synchronised in pairs in any order, against a model of two sets for each.

namespace {

constexpr std::size_t kEntry = 4 + 36 + 2; // bytes of a deletion: count, UUID, checksum

/// What a vault should hold: UUIDs. None is in both sets.
struct Model {
    std::set<std::string> alive;
    std::set<std::string> ended;

    bool operator==(const Model&) const = default;

    void end(const std::string& uuid)
    {
        alive.erase(uuid);
        ended.insert(uuid);
    }

    /// Both have what either has, but for what either has ended.
    static Model merged(const Model& a, const Model& b)
    {
        Model result = a;
        result.alive.insert(b.alive.begin(), b.alive.end());
        for (const std::string& uuid : b.ended)
            result.ended.insert(uuid);
        for (const std::string& uuid : result.ended)
            result.alive.erase(uuid);
        return result;
    }
};

/// Vaults and their models, and the same done to both.
class Replicas {
public:
    Replicas(std::size_t count, uint64_t seed)
        : random(seed)
        , vaults(count)
        , models(count)
    {
        OpenVault open;
        Model model;
        for (int i = 0; i < 3; ++i) {
            const std::string uuid = random.freshUUID();
            model.alive.insert(uuid);
            open.add(uuid, "Common");
        }
        const std::string bytes = open.bytes();
        std::fill(vaults.begin(), vaults.end(), bytes);
        std::fill(models.begin(), models.end(), model);
    }

    std::size_t count() const { return vaults.size(); }

    void add(std::size_t at)
    {
        OpenVault open(vaults[at]);
        const std::string uuid = random.freshUUID();
        open.add(uuid, "Added");
        models[at].alive.insert(uuid);
        vaults[at] = open.bytes();
    }

    /// The edit of a vault without records adds one.
    void edit(std::size_t at, std::size_t record)
    {
        OpenVault open(vaults[at]);
        if (open.count() == 0)
            return add(at);
        const std::string uuid = random.freshUUID();
        models[at].end(open.edit(static_cast<uint32_t>(record % open.count()), "Edited " + uuid, uuid));
        models[at].alive.insert(uuid);
        vaults[at] = open.bytes();
    }

    void remove(std::size_t at, std::size_t record)
    {
        OpenVault open(vaults[at]);
        if (open.count() == 0)
            return;
        models[at].end(open.remove(static_cast<uint32_t>(record % open.count())));
        vaults[at] = open.bytes();
    }

    void removeLast(std::size_t at) { remove(at, OpenVault(vaults[at]).count() - 1); }

    void merge(std::size_t a, std::size_t b)
    {
        if (a == b)
            return;
        std::tie(vaults[a], vaults[b]) = ::merged({ vaults[a], vaults[b] });
        models[a] = models[b] = Model::merged(models[a], models[b]);
    }

    /// Everything to one vault and from there to all, in an order that the seed chooses.
    void mergeAll(uint64_t seed)
    {
        std::vector<std::size_t> order(count());
        std::iota(order.begin(), order.end(), std::size_t { 0 });
        std::shuffle(order.begin(), order.end(), std::mt19937_64(seed));
        for (int pass = 0; pass < 2; ++pass) {
            for (std::size_t i = 1; i < order.size(); ++i)
                merge(order[0], order[i]);
        }
    }

    /// No record twice, and the sets of the model.
    bool fits(std::size_t at) const
    {
        const VaultState state = stateOf(vaults[at]);
        return state.records.size() == models[at].alive.size()
            && Model { state.UUIDs(), state.deletions } == models[at];
    }

    bool allFit() const
    {
        for (std::size_t i = 0; i < count(); ++i) {
            if (!fits(i))
                return false;
        }
        return true;
    }

    bool allAreOne() const
    {
        const VaultState first = stateOf(vaults[0]);
        return std::all_of(
            vaults.begin(), vaults.end(), [&](const std::string& vault) { return stateOf(vault) == first; });
    }

    VaultHistory random;
    std::vector<std::string> vaults;
    std::vector<Model> models;
};

using Step = std::tuple<int, std::size_t, std::size_t>;

void take(const Step& step, Replicas& replicas)
{
    const auto [kind, a, b] = step;
    const std::size_t at = a % replicas.count();
    switch (kind) {
    case 0: replicas.add(at); break;
    case 1: replicas.edit(at, b); break;
    case 2: replicas.remove(at, b); break;
    default: replicas.merge(at, b % replicas.count()); break;
    }
}

class ManyReplicas : public ::testing::Test {
protected:
    /// The same histories each time, but for full runs and for whoever asks for others.
    ManyReplicas() { ::setenv("RC_PARAMS", isLongForm() ? "max_success=2000" : "max_success=200 seed=20261121", 0); }

    static rc::Gen<std::vector<Step>> steps()
    {
        return rc::gen::container<std::vector<Step>>(rc::gen::tuple(
            rc::gen::inRange(0, 6), rc::gen::inRange<std::size_t>(0, 1000), rc::gen::inRange<std::size_t>(0, 1000)));
    }

    /// 2 to 1,000 vaults, mostly few: a thousand cost as much as a hundred histories of ten.
    static std::size_t vaultCount()
    {
        const auto from = [](std::size_t low, std::size_t high) { return rc::gen::inRange(low, high); };
        return *rc::gen::weightedOneOf<std::size_t>(
            { { 200, from(2, 21) }, { 4, from(21, 101) }, { 1, from(101, 1001) } });
    }

    StNoLog log;
};

TEST_F(ManyReplicas, ComeToTheSameRecordsInWhateverOrderTheyMerge)
{
    std::size_t most = 0;
    EXPECT_TRUE(rc::check("replicas converge", [&] {
        Replicas replicas(vaultCount(), /*seed=*/1);
        most = std::max(most, replicas.count());
        for (const Step& step : *steps())
            take(step, replicas);
        RC_ASSERT(replicas.allFit());
        Replicas otherOrder = replicas;
        const auto seed = *rc::gen::arbitrary<uint64_t>();
        replicas.mergeAll(seed);
        otherOrder.mergeAll(seed + 1);
        RC_ASSERT(replicas.allFit());
        RC_ASSERT(otherOrder.allFit());
        RC_ASSERT(replicas.models[0] == otherOrder.models[0]);
        RC_ASSERT(replicas.allAreOne());
        RC_ASSERT(stateOf(replicas.vaults[0]) == stateOf(otherOrder.vaults[0]));
    }));
    EXPECT_GT(most, 100u);
}

TEST_F(ManyReplicas, MergingTwiceIsMergingOnce)
{
    EXPECT_TRUE(rc::check("a second merge changes nothing", [] {
        Replicas replicas(2, /*seed=*/2);
        for (const Step& step : *steps())
            take(step, replicas);
        const VaultPair once = merged({ replicas.vaults[0], replicas.vaults[1] });
        const VaultPair twice = merged(once);
        RC_ASSERT(stateOf(once.first) == stateOf(once.second));
        RC_ASSERT(stateOf(twice.first) == stateOf(once.first));
        RC_ASSERT(twice.first.size() == once.first.size());
    }));
}

/// Of one record: edited here, deleted there, edited elsewhere. The edits stay, the old version is gone everywhere.
TEST_F(ManyReplicas, AnEditSurvivesAndADeletionHolds)
{
    EXPECT_TRUE(rc::check("an edit beats a deletion", [] {
        Replicas replicas(*rc::gen::inRange<std::size_t>(3, 12), /*seed=*/3);
        const std::string old = OpenVault(replicas.vaults[0]).UUID(0);
        replicas.edit(0, 0);
        replicas.remove(1, 0);
        replicas.edit(2, 0);
        replicas.remove(1, 0); // a second record, which nobody edits
        const std::set<std::string> ended = replicas.models[1].ended;
        for (const auto& [kind, a, b] : *steps())
            take({ 3, a, b }, replicas);
        replicas.mergeAll(*rc::gen::arbitrary<uint64_t>());
        RC_ASSERT(ended.count(old) == 1u);
        for (const std::string& vault : replicas.vaults) {
            const std::set<std::string> alive = stateOf(vault).UUIDs();
            RC_ASSERT(alive.size() == 3u); // two edits, and the third of the common records
            for (const std::string& uuid : ended)
                RC_ASSERT(alive.count(uuid) == 0u);
        }
    }));
}

TEST_F(ManyReplicas, AThousandComeTogether)
{
    Replicas replicas(isLongForm() ? 1000 : 20, /*seed=*/4);
    std::mt19937_64 random(5);
    for (std::size_t n = 0; n < 2 * replicas.count(); ++n)
        take({ static_cast<int>(random() % 6), random(), random() }, replicas);
    replicas.mergeAll(6);
    EXPECT_TRUE(replicas.allFit());
    EXPECT_TRUE(replicas.allAreOne());
}

/// Every edit and every deletion adds one entry, merges add none, and none is ever taken away.
TEST_F(ManyReplicas, ADeletionListGrowsByOneEntryForEachChange)
{
    Replicas replicas(4, /*seed=*/7);
    replicas.mergeAll(1);
    const std::size_t before = replicas.vaults[0].size();
    for (std::size_t n = 0; n < 40; ++n) {
        replicas.add(n % 4);
        replicas.removeLast(n % 4);
        if (n % 5 == 0)
            replicas.merge(n % 4, (n + 1) % 4);
    }
    replicas.mergeAll(2);
    EXPECT_TRUE(replicas.allFit());
    EXPECT_EQ(stateOf(replicas.vaults[0]).deletions.size(), 40u);
    EXPECT_EQ(replicas.vaults[0].size(), before + 40 * kEntry);
}

} // namespace
