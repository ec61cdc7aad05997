#include "Undo.h"
#include "FilePaths.h"

#include "CopiesInStep.h"
#include "Explanation.h"
#include "RunFixture.h"

namespace {

class UndoTest : public RunFixture {
protected:
    UndoReport takeBack(const std::vector<std::string>& names = {}, bool dryRun = false)
    {
        std::vector<std::string> paths;
        for (const std::string& name : names)
            paths.push_back(folder.path(name));
        return undo(paths, { dryRun, /*confines=*/false, &partners.all }, journal, console);
    }

    /// Writes the two files, as they are before the first run.
    VaultPair written(VaultHistory& history)
    {
        const VaultPair vaults = history.pair();
        folder.write("a.vlr", vaults.first);
        folder.write("b.vlr", vaults.second);
        return vaults;
    }

    /// The files' bytes behind each run, from the beginning on.
    std::vector<VaultPair> syncTwice()
    {
        VaultHistory history(11);
        std::vector<VaultPair> states { written(history) };
        sync("a.vlr", "b.vlr");
        states.push_back(present());
        folder.write("a.vlr", history.changed(states[1].first));
        states.push_back(present());
        sync("a.vlr", "b.vlr");
        return states;
    }

    VaultPair present() const { return { folder.read("a.vlr"), folder.read("b.vlr") }; }
};

TEST_F(UndoTest, TakesBackOneRunAfterTheOtherAsLongAsNothingElseHappened)
{
    const std::vector<VaultPair> states = syncTwice();
    takeBack({}, /*dryRun=*/true);
    EXPECT_NE(present(), states[2]);
    takeBack({ "b.vlr" });
    EXPECT_EQ(present(), states[2]);
    EXPECT_EQ(failureOf([&] { takeBack(); }).find("2: a.vlr: has changed since the run of "), 0u);
    folder.write("a.vlr", states[1].first);
    takeBack({ "a.vlr", "b.vlr" });
    EXPECT_EQ(present(), states[0]);
    EXPECT_EQ(
        failureOf([&] { takeBack(); }), "2: the journal knows no run that could be taken back; no file was changed");
    EXPECT_EQ(sync("a.vlr", "b.vlr").outcome, SyncReport::Outcome::Done); // no guard stands in its way
}

TEST_F(UndoTest, SaysWhyNot)
{
    VaultHistory history(12);
    const VaultPair before = written(history);
    sync("a.vlr", "b.vlr");
    const VaultPair after = present();
    const std::string backup = folder.read("a backup 1.vlr");
    folder.write("a backup 1.vlr", "something else");
    EXPECT_EQ(failureOf([&] { takeBack(); }), "2: a.vlr: its backup a backup 1.vlr has changed; no file was changed");
    std::filesystem::remove(folder.path("a backup 1.vlr"));
    EXPECT_EQ(
        failureOf([&] { takeBack(); }), "2: a.vlr: its backup a backup 1.vlr is no longer there; no file was changed");
    folder.write("a backup 1.vlr", backup);
    EXPECT_EQ(failureOf([&] { takeBack({ "c.vlr" }); }),
        "2: the journal knows no run on c.vlr that could be taken back; no file was changed");
    std::filesystem::rename(folder.path("b.vlr"), folder.path("c.vlr"));
    EXPECT_EQ(failureOf([&] { takeBack(); }).find("2: b.vlr: is no longer there"), 0u);
    std::filesystem::rename(folder.path("c.vlr"), folder.path("b.vlr"));
    EXPECT_EQ(present(), after);
    takeBack();
    EXPECT_EQ(present(), before);
}

TEST_F(UndoTest, ARunWithoutBackupsStays)
{
    VaultHistory history(13);
    written(history);
    options.backups = false;
    sync("a.vlr", "b.vlr");
    EXPECT_EQ(failureOf([&] { takeBack(); }), "2: a.vlr: the run was made without backups; no file was changed");
}

TEST_F(UndoTest, TheRunsOfOneCommandGoTogether)
{
    std::vector<std::string> before;
    std::vector<std::string> paths;
    for (const std::string name : { "a", "b", "c", "d" }) {
        before.push_back(SketchedVault { { { "common" }, { name } } }.bytes());
        paths.push_back(folder.write(name, before.back()));
    }
    EXPECT_EQ(synchronizeCopies(paths, options, journal, console).runs.size(), 4u);
    const std::vector<std::vector<std::string>> anyOfThem { {}, { "a" }, { "c", "d" }, { "a", "b", "c", "d" } };
    for (const std::vector<std::string>& names : anyOfThem) { // whichever of the runs they took part in
        EXPECT_EQ(takeBack(names, /*dryRun=*/true).runs.size(), 4u);
        EXPECT_EQ(takeBack(names).runs.size(), 4u);
        for (std::size_t i = 0; i < paths.size(); ++i)
            EXPECT_EQ(folder.read(paths[i].substr(folder.path("").size())), before[i]);
        synchronizeCopies(paths, options, journal, console);
    }
    sync("a", "b"); // in step: nothing that would stand before the others
    EXPECT_EQ(takeBack().runs.size(), 4u);
}

/// However few backups are to be kept, those of the runs that go together stay.
TEST_F(UndoTest, TheBackupsOfOneCommandStayTogetherAndChangesBetweenItsRunsAreNotLost)
{
    std::vector<std::string> paths;
    for (const std::string name : { "a", "b", "c", "d", "e" })
        paths.push_back(folder.write(name, SketchedVault { { { "common" }, { name } } }.bytes()));
    const std::string before = folder.read("a");
    options.keepBackups = 1;
    synchronizeCopies(paths, options, journal, console);
    EXPECT_EQ(takeBack({}, /*dryRun=*/true).files.size(), paths.size());

    std::vector<JournalRun> runs = journal.runsOf(canonicalPath(paths[0]));
    ASSERT_GT(runs.size(), 1u);
    const std::string hash = runs.back().files[0].hashAfter;
    ASSERT_EQ(runs.back().files[0].path, canonicalPath(paths[0]));
    runs.back().files[0].hashAfter = hashOf(dataOf("other")); // as if the next run had found something else
    journal.write(runs.back());
    EXPECT_EQ(failureOf([&] { takeBack(); }).find("2: a: somebody else has changed it between the runs"), 0u);
    runs.back().files[0].hashAfter = hash;
    journal.write(runs.back());
    takeBack();
    EXPECT_EQ(folder.read("a"), before);
}

TEST_F(UndoTest, ExplainTellsARecordsStory)
{
    folder.write("a.vlr", SketchedVault { { { "ABC1", "", "XXXXXXXX" }, { "ABD1" } } }.bytes());
    folder.write("b.vlr", SketchedVault { { { "ABD1" }, { "XYZ" } } }.bytes());
    sync("a.vlr", "b.vlr");
    takeBack();
    sync("a.vlr", "b.vlr");
    const Explanation told = explain(folder.path("b.vlr"), "abc", journal);
    EXPECT_EQ(told.uuid, "ABC1");
    ASSERT_EQ(told.events.size(), 2u);
    EXPECT_TRUE(told.events[0].wasTakenBack && !told.events[1].wasTakenBack);
    EXPECT_EQ(told.events[1].deed, Explanation::Deed::Added);
    EXPECT_EQ(told.events[1].otherFiles, std::vector<std::string> { canonicalPath(folder.path("a.vlr")) });
    EXPECT_EQ(told.categories.size(), 1u);
    const std::vector<std::string> kDeleted { "2" };
    const std::vector<std::string> kNone;
    for (const bool bySelf : { true, false }) {
        const SketchedVault with { { { "1" }, { "2" } }, bySelf ? kDeleted : kNone };
        const SketchedVault without { { { "1" } }, bySelf ? kNone : kDeleted };
        const std::string keeps = folder.write("keeps", with.bytes());
        folder.write("gives", without.bytes());
        sync("keeps", "gives");
        const Explanation::Event removal = explain(keeps, "2", journal).events.back();
        EXPECT_EQ(removal.deed, Explanation::Deed::Removed);
        EXPECT_EQ(removal.bySelf, bySelf);
        options.guards.allowOlder = true;
    }
    EXPECT_TRUE(explain(folder.path("a.vlr"), "ABC1", journal).events.empty());
    EXPECT_EQ(failureOf([&] { explain(folder.path("b.vlr"), "AB", journal); }),
        "2: b.vlr: several records begin with ab: ABC1, ABD1");
    EXPECT_EQ(failureOf([&] { explain(folder.path("b.vlr"), "Q", journal); }),
        "2: b.vlr: neither the file nor the journal knows a record q");
}

} // namespace
