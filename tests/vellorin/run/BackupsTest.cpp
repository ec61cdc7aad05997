#include "Backups.h"

#include "RunFixture.h"
#include "StagedFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

class BackupsTest : public RunFixture {
protected:
    /// A backup whose content was last changed so many days ago.
    void writeBackup(int number, const std::string& content, int age)
    {
        const std::string path = folder.write("v backup " + std::to_string(number) + ".vlr", content);
        const timespec then { 1700000000 - age * 86400, 0 };
        const timespec times[] = { then, then };
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }

    void backUp(uint32_t most, bool keeps = true)
    {
        Backups backups(most, {}, console);
        backups.make(folder.path("v.vlr"), dataOf(folder.read("v.vlr")));
        if (!keeps)
            return;
        backups.keep();
        backups.prune();
    }

    const std::string vault = SketchedVault { { { "1" } } }.bytes();
};

TEST_F(BackupsTest, TheOldestGoFirstAndOtherFilesStay)
{
    folder.write("v.vlr", vault);
    writeBackup(1, vault, 1);
    writeBackup(2, vault, 9);
    writeBackup(3, vault, 5);
    for (const std::string name : { "v backup 0.vlr", "v backup 03.vlr", "v backup 101.vlr", "v backup x.vlr",
             "w backup 1.vlr", "v backup 2.txt", "v backup 2" })
        folder.write(name, vault);
    backUp(3);
    EXPECT_EQ(folder.listing(),
        "v backup 0.vlr v backup 03.vlr v backup 1.vlr v backup 101.vlr v backup 2 v backup 2.txt v backup 3.vlr v "
        "backup "
        "4.vlr v backup x.vlr v.vlr w backup 1.vlr");
}

TEST_F(BackupsTest, ARunThatCameToNothingLeavesNone)
{
    folder.write("v.vlr", vault);
    backUp(3, /*keeps=*/false);
    EXPECT_EQ(folder.listing(), "v.vlr");
}

TEST_F(BackupsTest, DamageThatIsNowhereElseStays)
{
    folder.write("v.vlr", vault);
    writeBackup(1, vault + "damage", 9);
    writeBackup(2, vault + "other damage", 8);
    writeBackup(3, vault + "other damage", 7);
    writeBackup(4, vault, 6);
    backUp(1);
    EXPECT_EQ(folder.listing(), "v backup 1.vlr v backup 3.vlr v backup 5.vlr v.vlr");
}

TEST_F(BackupsTest, WithoutAFreeNumberOlderOnesMakeRoom)
{
    folder.write("v.vlr", vault);
    for (int number = 1; number <= 100; ++number)
        writeBackup(number, vault, number);
    backUp(10);
    EXPECT_EQ(backupsOf(folder.path("v.vlr")).size(), 10u);
    for (int number = 1; number <= 100; ++number)
        writeBackup(number, vault + std::to_string(number), number);
    EXPECT_NE(failureOf([&] { backUp(10); }).find("3: v.vlr: no backup can be made: all numbers"), std::string::npos);
}

TEST_F(BackupsTest, ABackupThatIsSynchronisedItselfIsNotPruned)
{
    writeBackup(1, vault, 9);
    writeBackup(2, vault, 8);
    writeBackup(3, vault, 7);
    {
        Backups backups(1, {}, console);
        backups.make(folder.path("v backup 1.vlr"), dataOf(vault));
        backups.keep();
        backups.prune();
    }
    EXPECT_EQ(folder.listing(), "v backup 1.vlr v backup 4.vlr");
    writeBackup(2, vault, 8);
    Backups backups(1, { folder.path("v backup 2.vlr"), "" }, console); // which takes part in another run
    backups.make(folder.path("v backup 1.vlr"), dataOf(vault));
    backups.keep();
    backups.prune();
    EXPECT_EQ(folder.listing(), "v backup 1.vlr v backup 2.vlr v backup 3.vlr");
}

TEST_F(BackupsTest, OtherBytesThanExpectedAreAChange)
{
    folder.write("v.vlr", vault);
    Backups backups(1, {}, console);
    EXPECT_THROW(backups.make(folder.path("v.vlr"), dataOf("other")), FileChanged);
}

} // namespace
