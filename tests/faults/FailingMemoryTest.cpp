#include "FaultyCalls.h"
#include "ScarceMemory.h"
#include "ScratchFolder.h"
#include "Synchronisation.h"
#include "VLR_Exception.h"
#include "VLR_RawMemory.h"
#include "VaultBackups.h"
#include "VaultHistory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <new>

// Each allocation of a synchronisation fails in turn, and then all from one on.

namespace {

class FailingMemory : public ::testing::Test {
protected:
    /// The result text, or "foreign" for a run that vellorin-sync would end as a foreign failure.
    std::string runWith(std::size_t allocations, bool failsOnce)
    {
        const VLR_RawMemory before = VLR_SetRawMemory(
            { [](std::size_t size) { return ScarceMemory::grant() ? std::calloc(1, size) : nullptr; }, std::free });
        std::string result = "foreign";
        ScarceMemory::failsOnce = failsOnce;
        ScarceMemory::left = allocations;
        try {
            result = synchronisation.run(first, second);
        } catch (const std::bad_alloc&) {
            ScarceMemory::left = SIZE_MAX;
        }
        ScarceMemory::left = SIZE_MAX;
        VLR_SetRawMemory(before);
        return result;
    }

    void sweep(bool failsOnce)
    {
        for (uint64_t seed = 8; seed < 16 && !HasFailure(); ++seed)
            sweep(VaultHistory(seed).pair(), /*isBackedUp=*/false, failsOnce);
        for (uint64_t seed = 16; seed < 20 && !HasFailure(); ++seed)
            sweep(withUncarriedBytes(VaultHistory(seed).pair()), /*isBackedUp=*/true, failsOnce);
    }

    void sweep(const VaultPair& vaults, bool isBackedUp, bool failsOnce)
    {
        const VaultPair after = merged(vaults);
        const VaultState states[]
            = { stateOf(vaults.first), stateOf(after.first), stateOf(vaults.second), stateOf(after.second) };
        std::size_t failures = 0;
        for (std::size_t allocations = 0; !HasFailure(); ++allocations) {
            SCOPED_TRACE("allocation " + std::to_string(allocations) + (failsOnce ? "" : " and all behind it"));
            for (const auto& [name, bytes] : filesIn(folder))
                std::filesystem::remove_all(folder.path(name));
            folder.write("a.vlr", vaults.first);
            folder.write("b.vlr", vaults.second);
            const std::string result = runWith(allocations, failsOnce);
            const bool succeeded = result == SynchronizeFiles::kSuccess && synchronisation.notReplaced.empty();
            expectOneOf("a.vlr", states[0], states[1], succeeded);
            expectOneOf("b.vlr", states[2], states[3], succeeded);
            expectBackups(filesIn(folder), vaults, isBackedUp, /*mustBeThere=*/true);
            EXPECT_EQ(namesButBackups(), "a.vlr b.vlr ") << result;
            failures += !succeeded;
            if (ScarceMemory::shortages == 0)
                break;
            ScarceMemory::shortages = 0;
        }
        EXPECT_GT(failures, 100u);
    }

    std::string namesButBackups() const
    {
        std::string names;
        for (const auto& [name, bytes] : filesIn(folder))
            names += isBackup(name) ? "" : name + " ";
        return names;
    }

    void expectOneOf(const char* name, const VaultState& before, const VaultState& after, bool mustBeNew)
    {
        const VaultState state = stateOf(folder.read(name));
        EXPECT_TRUE(state == after || (!mustBeNew && state == before)) << name;
    }

    StNoLog log;
    ClockStandIn clock;
    Synchronisation synchronisation { clock };
    ScratchFolder folder { folderInMemory() };
    UnsyncedCalls unsynced;
    const StFileSystemCalls inPlace { unsynced };
    const std::string first = folder.path("a.vlr");
    const std::string second = folder.path("b.vlr");
};

TEST_F(FailingMemory, EachAllocationOnce)
{
    clock.step = 1;
    sweep(/*failsOnce=*/true);
}

TEST_F(FailingMemory, AllAllocationsFromOneOn)
{
    clock.step = 1;
    sweep(/*failsOnce=*/false);
}

} // namespace
