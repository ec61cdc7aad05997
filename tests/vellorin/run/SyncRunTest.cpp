#include "SyncRun.h"

#include "FilePaths.h"
#include "Interruption.h"
#include "NSAutoreleasePool.h"
#include "RunFixture.h"
#include "SyncPlan.h"
#include "SyncProof.h"
#include "Synchronisation.h"

#include <csignal>
#include <memory>

namespace {

class SyncRunTest : public RunFixture { };

/// The result is what the action makes of the same files, in every byte but those of the date of opening.
TEST_F(SyncRunTest, RandomHistoriesEndAsTheActionEndsThem)
{
    for (uint64_t seed = 500; seed < 540; ++seed) {
        SCOPED_TRACE(seed);
        const VaultPair vaults = VaultHistory(seed).pair();
        for (const std::string name : { "a.vlr", "x.vlr" })
            folder.write(name, vaults.first);
        for (const std::string name : { "b.vlr", "y.vlr" })
            folder.write(name, vaults.second);
        EXPECT_EQ(Synchronisation(partners.clock).run(folder.path("x.vlr"), folder.path("y.vlr")), "<Success>");
        const SyncReport report = sync("a.vlr", "b.vlr");
        EXPECT_EQ(report.outcome, SyncReport::Outcome::Done);
        for (const auto& [ours, actions] : { std::pair("a.vlr", "x.vlr"), std::pair("b.vlr", "y.vlr") })
            EXPECT_TRUE(isSameButForOpenDate(contentsOf(folder.read(ours)), dataOf(folder.read(actions)))) << ours;
        EXPECT_EQ(sync("a.vlr", "b.vlr").outcome, SyncReport::Outcome::InStep);
        journal.forget(report.runId); // the next files are others
    }
}

/// Whether the plan of two vaults was made by a merge; its counters are those of one in any case.
bool isMergedWithSameCounters(const VaultPair& vaults)
{
    const SyncPlan plan(PlannedFile("a", dataOf(vaults.first)), PlannedFile("b", dataOf(vaults.second)));
    const MergedPair merge = mergeOf(vaults);
    EXPECT_EQ(plan.identical, merge.identical);
    EXPECT_EQ(plan.duplicated, merge.duplicated);
    return plan.first.merged.has_value();
}

TEST_F(SyncRunTest, VaultsInStepNeedNoMergeUnlessOneIdentityStandsTwice)
{
    for (uint64_t seed = 600; seed < 620; ++seed) {
        SCOPED_TRACE(seed);
        const VaultPair vaults = VaultHistory(seed).pair();
        EXPECT_TRUE(isMergedWithSameCounters(vaults));
        EXPECT_FALSE(isMergedWithSameCounters(merged(vaults)));
    }
    const std::string twice = SketchedVault { { { "1", "x" }, { "1", "y" } } }.bytes();
    EXPECT_TRUE(isMergedWithSameCounters({ twice, twice }));
}

TEST_F(SyncRunTest, TheReportCountsWhatHappened)
{
    folder.write("a.vlr", SketchedVault { { { "1" }, { "2" }, { "3", "x" } }, { "4" } }.bytes());
    folder.write("b.vlr", SketchedVault { { { "1" }, { "3", "y" }, { "4" } }, { "2" } }.bytes());
    const SyncReport report = sync("a.vlr", "b.vlr");
    EXPECT_EQ(report.status(), kLookAtIt);
    EXPECT_EQ(report.first.recordsBefore, 3u);
    EXPECT_EQ(report.first.added, 1u);
    EXPECT_EQ(report.first.removed, 1u);
    EXPECT_EQ(report.first.recordsAfter, 3u);
    EXPECT_EQ(report.first.deletionsAfter, 2u);
    ASSERT_EQ(report.keptTwice.size(), 1u);
    EXPECT_EQ(report.keptTwice[0].uuidInFirst, "3");
    EXPECT_EQ(report.sentences,
        (std::vector<std::string> { "1 record goes from a.vlr to b.vlr", "1 record goes from b.vlr to a.vlr",
            "1 record is removed from b.vlr because a.vlr deleted it",
            "1 record is removed from a.vlr because b.vlr deleted it",
            "1 record stands in another category on each side and stays twice" }));
    const std::vector<JournalRun> runs = journal.runsOf(canonicalPath(folder.path("a.vlr")));
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_EQ(runs[0].id, report.runId);
    EXPECT_EQ(runs[0].state, JournalRun::State::Done);
    EXPECT_EQ(runs[0].files[0].added, std::vector<std::string> { "3" });
    EXPECT_EQ(runs[0].files[0].removed, std::vector<std::string> { "2" });
    EXPECT_EQ(runs[0].files[0].doubled, std::vector<std::string> { "3" });
    EXPECT_EQ(runs[0].files[1].hashAfter, hashOf(dataOf(folder.read("b.vlr"))));
}

TEST_F(SyncRunTest, ADryRunMakesNoFile)
{
    const std::string a = SketchedVault { { { "1" } } }.bytes();
    folder.write("a.vlr", a);
    folder.write("b.vlr", SketchedVault { {}, {}, "I", "" }.bytes());
    options.dryRun = true;
    EXPECT_EQ(sync("a.vlr", "b.vlr").outcome, SyncReport::Outcome::Planned);
    EXPECT_EQ(folder.listing(), "a.vlr b.vlr");
    EXPECT_EQ(folder.read("a.vlr"), a);
    EXPECT_EQ(state.listing(), "");
}

TEST_F(SyncRunTest, TheSecondFileMayStayAsItIs)
{
    const std::string copy = SketchedVault { { { "2" } } }.bytes();
    folder.write("a.vlr", SketchedVault { { { "1" } } }.bytes());
    folder.write("b.vlr", copy);
    options.replaceSecond = false;
    const SyncReport report = sync("a.vlr", "b.vlr");
    EXPECT_TRUE(report.first.written && !report.second.written);
    EXPECT_EQ(folder.read("b.vlr"), copy);
    EXPECT_EQ(folder.listing(), "a backup 1.vlr a.vlr b.vlr");
    EXPECT_EQ(contentsOf(folder.read("a.vlr")).records.size(), 2u);
    EXPECT_EQ(sync("a.vlr", "b.vlr").outcome, SyncReport::Outcome::InStep); // nothing new in the copy
}

struct RefusalCase {
    const char* name;
    const char* first;
    const char* second;
    const char* failure;
};

TEST_F(SyncRunTest, WhatWouldFailInTheMiddleIsToldBefore)
{
    const std::string vault = SketchedVault { { { "1" } } }.bytes();
    folder.write("a.vlr", vault);
    folder.write("other.vlr", SketchedVault { { { "1" } }, {}, "I", "", "n" }.bytes());
    folder.write("empty.vlr", "");
    const std::string longest = std::string(251, 'l') + ".vlr";
    folder.write(longest, SketchedVault {}.bytes());
    const std::string tooLongForBackups = std::string(245, 'l') + ".vlr";
    folder.write(tooLongForBackups, SketchedVault {}.bytes());
    std::filesystem::create_symlink("a.vlr", folder.path("link.vlr"));
    std::filesystem::create_hard_link(folder.path("a.vlr"), folder.path("hard.vlr"));
    std::filesystem::create_directory(folder.path("folder"));
    const RefusalCase kCases[] = {
        { "missing", "a.vlr", "none.vlr", "3: none.vlr: No such file or directory; no file was changed" },
        { "folder", "a.vlr", "folder", "3: folder: is no regular file; no file was changed" },
        { "link", "a.vlr", "link.vlr", "2: link.vlr: is the same file as a.vlr; no file was changed" },
        { "hard link", "hard.vlr", "a.vlr", "2: a.vlr: is the same file as hard.vlr; no file was changed" },
        { "masters", "a.vlr", "other.vlr",
            "2: a.vlr and other.vlr: the master passwords differ; give both vaults the same one and synchronise again; "
            "no file was changed" },
    };
    for (const RefusalCase& c : kCases)
        EXPECT_EQ(failureOf([&] { sync(c.first, c.second); }), c.failure) << c.name;
    EXPECT_NE(failureOf([&] { sync("a.vlr", "empty.vlr"); }).find("3: empty.vlr: is no vault"), std::string::npos);
    EXPECT_NE(failureOf([&] { sync("a.vlr", longest); }).find("too long to carry a lock"), std::string::npos);
    EXPECT_NE(failureOf([&] { sync("a.vlr", tooLongForBackups); }).find("--no-backup"), std::string::npos);
    EXPECT_EQ(folder.read("a.vlr"), vault);
    options.backups = false;
    EXPECT_EQ(failureOf([&] { sync("a.vlr", tooLongForBackups); }), "0");
}

TEST_F(SyncRunTest, ALockThatIsHeldIsToldWithItsHolder)
{
    folder.write("a.vlr", SketchedVault { { { "1" } } }.bytes());
    folder.write("b.vlr", SketchedVault {}.bytes());
    std::filesystem::create_directory(folder.path(".b.vlr"));
    folder.write(".b.vlr/holder", "host: elsewhere\nprocess: 4711\nstarted: 2026-11-21T10:00:00Z\nprogram: editor\n");
    const std::string failure = failureOf([&] { sync("a.vlr", "b.vlr"); });
    EXPECT_EQ(
        failure.find("3: a.vlr and b.vlr: another program has held the write lock for 15 seconds; b.vlr is locked by "
                     "editor, process 4711 on elsewhere, since "),
        0u)
        << failure;
    EXPECT_EQ(folder.listing(), ".b.vlr a.vlr b.vlr");
    EXPECT_FALSE(journal.newestRun());
}

/// Somebody who changes a file whenever a lock is taken.
class MeddlingLocks final : public LockSystem {
public:
    std::unique_ptr<NSDistributedLock> lockWithPath(const std::string& path) override
    {
        if (meddle)
            meddle();
        return locks.lockWithPath(path);
    }
    uint32_t systemVersion() const override { return locks.systemVersion(); }

    LinuxLockSystem locks;
    std::function<void()> meddle;
};

TEST_F(SyncRunTest, AFileThatKeepsChangingIsGivenUpAfterThreeAttempts)
{
    VaultHistory history(7);
    const VaultPair vaults = history.pair();
    folder.write("a.vlr", vaults.first);
    folder.write("b.vlr", vaults.second);
    MeddlingLocks locks;
    ActionPartners meddling { partners.events, locks, partners.clock, [] {} };
    options.partners = &meddling;
    int left = 100;
    locks.meddle = [&] {
        if (left-- > 0)
            folder.write("b.vlr", history.changed(folder.read("b.vlr")));
    };
    EXPECT_EQ(failureOf([&] { sync("a.vlr", "b.vlr"); }),
        "3: b.vlr: somebody else has changed it 3 times while it was to be synchronised; no file was changed");
    EXPECT_EQ(folder.read("a.vlr"), vaults.first);
    EXPECT_EQ(folder.listing(), "a.vlr b.vlr");
    left = 1;
    EXPECT_EQ(sync("a.vlr", "b.vlr").attempts, 2u);
    EXPECT_EQ(stateOf(folder.read("a.vlr")), stateOf(folder.read("b.vlr")));
}

TEST_F(SyncRunTest, ADamagedVaultIsBackedUpEvenWithoutBackups)
{
    const std::string damaged = SketchedVault { { { "1" } } }.bytes() + "???";
    folder.write("a.vlr", damaged);
    folder.write("b.vlr", SketchedVault { { { "1" }, { "2" } } }.bytes());
    options.backups = false;
    EXPECT_EQ(failureOf([&] { sync("a.vlr", "b.vlr"); }).substr(0, 19), "2: refused (damage)");
    options.guards.allowDamage = true;
    sync("a.vlr", "b.vlr");
    EXPECT_EQ(folder.read("a backup 1.vlr"), damaged);
    EXPECT_EQ(folder.listing(), "a backup 1.vlr a.vlr b.vlr");
}

/// As an application is told that it may have its file again.
TEST_F(SyncRunTest, ASignalDuringTheEndOfSendersEndsNothingElse)
{
    struct Interrupting final : NSAutoreleased {
        void dealloc() override { throw Interrupted(SIGTERM); }
    };
    NSAutoreleasePool senders;
    NSAutoreleasePool::autorelease(std::make_shared<Interrupting>());
    EXPECT_NO_THROW(endSenders(senders, console));
}

} // namespace
