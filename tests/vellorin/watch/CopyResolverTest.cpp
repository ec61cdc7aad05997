#include "CopyResolver.h"
#include "FinderServices.h"
#include "ScratchFolder.h"
#include "VaultBytes.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

struct HoldsCase {
    const char* name;
    SketchedVault vault;
    SketchedVault other;
    bool holds;
};

const HoldsCase kHoldsCases[] = {
    { "equal", { { { "A" } } }, { { { "A" } } }, true },
    { "vault has more", { { { "A" }, { "B" } }, { "C" } }, { { { "A" } } }, true },
    { "new record", { { { "A" } } }, { { { "A" }, { "B" } } }, false },
    { "new record that is deleted here", { { { "A" } }, { "b" } }, { { { "A" }, { "B" } } }, true },
    { "new deletion", { { { "A" } } }, { { { "A" } }, { "B" } }, false },
    { "record deleted there", { { { "A" }, { "B" } } }, { { { "A" } }, { "B" } }, false },
    { "deleted there and listed here", { { { "A" }, { "B" } }, { "B" } }, { { { "A" } }, { "B" } }, false },
    { "other category", { { { "A", "one" } } }, { { { "A", "two" } } }, false },
    { "both categories", { { { "A", "one" }, { "A", "two" } } }, { { { "A", "two" } } }, true },
    { "other category of one that is also deleted here", { { { "A", "one" } }, { "A" } }, { { { "A", "two" } } }, false },
    { "other body", { { { "A", "", "12345678" } } }, { { { "A", "", "87654321" } } }, true },
    { "nothing to give", { {} }, { { { "A", "", "" } } }, true },
};

TEST(HoldsAllOf, SeesWhatAVaultLacks)
{
    for (const HoldsCase& row : kHoldsCases)
        EXPECT_EQ(holdsAllOf(contentsOf(row.vault), contentsOf(row.other)), row.holds) << row.name;
}

/// A trash that is a folder beside.
class TrashStandIn final : public FinderServices {
public:
    explicit TrashStandIn(const ScratchFolder& folder) : folder_(folder) { }

    bool hasTrash() override { return true; }
    bool isRunning() override { return false; }
    int16_t reveal(const std::string&) override { return 0; }
    int16_t moveToTrash(const std::string& path) override
    {
        if (fails)
            return -36;
        atTheLastMoment();
        fs::rename(path, folder_.path("trashed"));
        return 0;
    }

    bool fails = false;
    std::function<void()> atTheLastMoment = [] {};

private:
    const ScratchFolder& folder_;
};

SyncReport reportWith(SyncReport::Outcome outcome)
{
    SyncReport report;
    report.outcome = outcome;
    return report;
}

class CopyResolverTest : public testing::Test {
protected:
    CopyResolverTest()
    {
        writeVault({ { { "A" } } });
        writeCopy({ { { "A" }, { "B" } } });
    }

    void writeVault(const SketchedVault& vault) { folder.write("vault", vault.bytes()); }
    void writeCopy(const SketchedVault& vault) { folder.write("copy", vault.bytes()); }

    /// The stand-in for a synchronisation: gives the vault the records of both.
    SyncReport merge()
    {
        ++merges;
        duringMerge();
        writeVault({ { { "A" }, { "B" } } });
        return reportWith(SyncReport::Outcome::Done);
    }

    ResolvedCopy resolve(const CopyResolver::Manner& manner = {})
    {
        const CopyResolver resolver({ [&](const std::string&, const std::string&) { return mergeWith(); }, trash }, manner);
        return resolver.resolve(folder.path("vault"), folder.path("copy"));
    }

    const ScratchFolder folder;
    TrashStandIn trash { folder };
    std::function<void()> duringMerge = [] {};
    std::function<SyncReport()> mergeWith = [this] { return merge(); };
    int merges = 0;
};

TEST_F(CopyResolverTest, ACopyGoesWithItsBytesWhenTheVaultHoldsAllOfIt)
{
    const std::string bytes = folder.read("copy");
    const ResolvedCopy merged = resolve();
    EXPECT_EQ(merged.outcome, ResolvedCopy::Outcome::Merged);
    EXPECT_TRUE(merged.inTrash);
    EXPECT_EQ(merged.status, kDone);
    EXPECT_EQ(folder.listing(), "trashed vault");
    EXPECT_EQ(folder.read("trashed"), bytes);

    writeCopy({ { { "A" } } });
    EXPECT_EQ(resolve().outcome, ResolvedCopy::Outcome::NothingNew);
    EXPECT_EQ(merges, 1);
    EXPECT_EQ(folder.listing(), "trashed vault");
}

TEST_F(CopyResolverTest, WhatComesDuringTheMergeIsMergedToo)
{
    duringMerge = [&] { writeCopy({ { { "A" }, { "B" }, { "C" } } }); };
    mergeWith = [&] {
        const SyncReport report = merge();
        if (merges > 1)
            writeVault({ { { "A" }, { "B" }, { "C" } } });
        return report;
    };
    EXPECT_TRUE(resolve().inTrash);
    EXPECT_EQ(merges, 2);
}

TEST_F(CopyResolverTest, ACopyThatIsNeverHeldStays)
{
    mergeWith = [&] {
        ++merges;
        return reportWith(SyncReport::Outcome::Done);
    };
    const ResolvedCopy left = resolve();
    EXPECT_EQ(left.outcome, ResolvedCopy::Outcome::Left);
    EXPECT_EQ(left.status, kHalfWritten);
    EXPECT_EQ(merges, 3);
    EXPECT_EQ(folder.listing(), "copy vault");
}

TEST_F(CopyResolverTest, ARefusedMergeLeavesTheCopy)
{
    mergeWith = []() -> SyncReport { throw CommandFailure(kRefused, "too many removals"); };
    const ResolvedCopy left = resolve();
    EXPECT_EQ(left.status, kRefused);
    EXPECT_EQ(left.message, "too many removals");
    EXPECT_EQ(folder.listing(), "copy vault");
}

TEST_F(CopyResolverTest, DamageAndOtherMastersAreForTheMergeToJudge)
{
    mergeWith = [&]() -> SyncReport { throw CommandFailure(kRefused, "guard"); };
    writeCopy({ { { "A" } }, {}, "I", "", "another master" });
    EXPECT_EQ(resolve().message, "guard");
    folder.write("copy", SketchedVault { { { "A" } } }.bytes() + "stray");
    EXPECT_EQ(resolve().message, "guard");
    EXPECT_TRUE(resolve({ .dryRun = false, .allowDamage = true }).inTrash);
}

TEST_F(CopyResolverTest, ADryRunMovesNothing)
{
    mergeWith = [] { return reportWith(SyncReport::Outcome::Planned); };
    EXPECT_EQ(resolve({ .dryRun = true }).outcome, ResolvedCopy::Outcome::Merged);
    writeCopy({ { { "A" } } });
    EXPECT_EQ(resolve({ .dryRun = true }).outcome, ResolvedCopy::Outcome::NothingNew);
    EXPECT_EQ(folder.listing(), "copy vault");
}

TEST_F(CopyResolverTest, WithoutATrashTheCopyStays)
{
    trash.fails = true;
    EXPECT_EQ(resolve().status, kHalfWritten);
    EXPECT_EQ(resolve().status, kFailed); // the vault holds all of it by now, so nothing was written
    EXPECT_EQ(folder.listing(), "copy vault");
}

TEST_F(CopyResolverTest, AChangeAtTheLastMomentIsTold)
{
    trash.atTheLastMoment = [&] { writeCopy({ { { "A" }, { "Z" } } }); }; // in place
    EXPECT_EQ(resolve().status, kLookAtIt);

    writeCopy({ { { "A" } } });
    trash.atTheLastMoment = [&] {
        folder.write("new", "by renaming");
        fs::rename(folder.path("new"), folder.path("copy"));
    };
    const ResolvedCopy replaced = resolve();
    EXPECT_EQ(replaced.status, kLookAtIt);
    EXPECT_NE(replaced.message.find("changed while it went to the trash"), std::string::npos);
}

} // namespace
