#include "ExtraStringUtilities.h"
#include "FaultyCalls.h"
#include "Interruption.h"
#include "PrivateBus.h"
#include "ScratchFolder.h"
#include "UtilityStandIns.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <vector>

namespace fs = std::filesystem;
using ExtraStringUtilities::BackupReport;
using ExtraStringUtilities::makeBackupCopy;

namespace {

constexpr char kAllTaken[] = "We have a nil newPath AND a nil oldestMatchedPath.  This can't happen.  Or shouldn't.";

BackupReport made(const std::string& name)
{
    return { { "alertWithMessageText", "Your old data file has been backed up." },
        { "informativeTextWithFormat",
            "Your data file was backed up with the name '" + name
                + "' in the same folder as the original.\n\n(Always keep backups!!!)" } };
}

BackupReport notMade(const std::string& path)
{
    return { { "alertWithMessageText", "Can't backup data file." },
        { "informativeTextWithFormat", "Couldn't create backup of file '" + path + "'.  Sorry." } };
}

/// Files that are nothing but names, and what was asked for.
class FilesStandIn final : public NSFileItems {
public:
    bool fileExistsAtPath(const std::string& path) override
    {
        asked.push_back(path);
        return taken.contains(path);
    }
    FileSystemAttributes attributesOfFileSystemForPath(const std::string& path) override
    {
        return dates.contains(path) ? FileSystemAttributes { { NSFileModificationDate, dates[path] } }
                                    : FileSystemAttributes {};
    }
    bool removeItemAtPath(const std::string& path) override { return taken.erase(path) > 0; }
    bool copyItemAtPath(const std::string& path, const std::string& toPath) override
    {
        copied = path + " -> " + toPath;
        return taken.insert(toPath).second;
    }

    /// Takes all numbers for "/v/a backup %d.dat".
    void takeAll()
    {
        for (int number = 1; number <= 100; ++number)
            taken.insert("/v/a backup " + std::to_string(number) + ".dat");
    }

    std::set<std::string> taken;
    std::map<std::string, double> dates;
    std::vector<std::string> asked;
    std::string copied;
};

TEST(BackupNumbers, FirstNameTried)
{
    const struct {
        const char* source;
        const char* first;
    } kCases[] = {
        { "Vault.dat", "Vault backup 1.dat" },
        { "Vault backup 1.dat", "Vault backup 2.dat" },
        { "Vault backup 4.dat", "Vault backup 5.dat" },
        { "Vault backup 11.dat", "Vault backup 12.dat" },
        { "Vault backup 99.dat", "Vault backup 100.dat" },
        { "Vault backup 100.dat", "Vault backup 1.dat" },
        { "Vault backup 101.dat", "Vault backup 101 backup 1.dat" },
        { "Vault backup 0.dat", "Vault backup 0 backup 1.dat" },
        { "Vault backup 04.dat", "Vault backup 04 backup 1.dat" },
        { "Vault backup 4 .dat", "Vault backup 4  backup 1.dat" },
        { "Vault backup 4 backup 7.dat", "Vault backup 4 backup 8.dat" }, // one suffix goes
        { "Vault Backup 4.dat", "Vault Backup 4 backup 1.dat" },
        { "Vault backup 4", "Vault backup 5" },
        { "Vault", "Vault backup 1" },
        { ".vault", ".vault backup 1" },
        { "Vault.", "Vault. backup 1" },
        { "Vault.old.dat", "Vault.old backup 1.dat" },
        { "backup 4.dat", "backup 4 backup 1.dat" },
        { " backup 4.dat", " backup 5.dat" },
        { "100%@ %n.dat", "100%@ %n backup 1.dat" },
        { "\xFF\n\xC3\xA4.dat", "\xFF\n\xC3\xA4 backup 1.dat" },
    };
    for (const char* folder : { "/a.b/", "" }) {
        for (const auto& c : kCases) {
            FilesStandIn files;
            const std::string source = std::string(folder) + c.source;
            EXPECT_EQ(makeBackupCopy(source, files), made(c.first));
            EXPECT_EQ(files.copied, source + " -> " + folder + c.first);
        }
    }
}

TEST(BackupNumbers, TheFirstFreeOneFromTheStartIsTaken)
{
    FilesStandIn files;
    files.takeAll();
    files.taken.erase("/v/a backup 3.dat");
    files.taken.erase("/v/a backup 60.dat");
    EXPECT_EQ(makeBackupCopy("/v/a.dat", files), made("a backup 3.dat"));
    files.asked.clear();
    EXPECT_EQ(makeBackupCopy("/v/a backup 57.dat", files), made("a backup 60.dat"));
    EXPECT_EQ(
        files.asked, (std::vector<std::string> { "/v/a backup 58.dat", "/v/a backup 59.dat", "/v/a backup 60.dat" }));
}

TEST(BackupNumbers, NoneFreeIsAFailureAndDeletesNothing)
{
    for (const char* source : { "/v/a.dat", "/v/a backup 57.dat", "/v/a backup 100.dat" }) {
        LogLines log;
        FilesStandIn files;
        files.takeAll();
        EXPECT_EQ(makeBackupCopy(source, files), notMade(source));
        EXPECT_EQ(log.lines, std::vector<std::string> { kAllTaken });
        EXPECT_EQ(files.taken.size(), 100u);
        EXPECT_EQ(files.copied, "");
    }
}

TEST(BackupNumbers, ADateOfTheVolumeWouldChooseTheOldest)
{
    FilesStandIn files;
    files.takeAll();
    files.dates = { { "/v/a backup 8.dat", 5 }, { "/v/a backup 9.dat", 4 }, { "/v/a backup 10.dat", 4 } };
    EXPECT_EQ(makeBackupCopy("/v/a.dat", files), made("a backup 9.dat"));
    EXPECT_EQ(files.taken.size(), 100u);
}

TEST(BackupNumbers, ReportsTakeNamesAsTheyAre)
{
    FilesStandIn files;
    files.taken.insert("/v/%@%s backup 1.%d");
    EXPECT_EQ(makeBackupCopy("/v/%@%s.%d", files), made("%@%s backup 2.%d"));
    files.taken.clear();
    EXPECT_EQ(makeBackupCopy("", files), made(" backup 1"));
}

// Against the file system

class Backup : public ::testing::Test {
protected:
    ScratchFolder folder;
    LinuxFileItems files;
};

TEST_F(Backup, KeepsContentAndMetadata)
{
    const std::string content(200000, 'v');
    const std::string source = folder.write("a.dat", content);
    ::chmod(source.c_str(), 0440);
    const struct timespec times[] = { { 1000, 5 }, { 2000, 7 } };
    ::utimensat(AT_FDCWD, source.c_str(), times, 0);
    ::chmod(source.c_str(), 0640);
    const bool hasCodes = ExtraStringUtilities::setType(source, 0x566C7234, 0x73683131);
    ::setxattr(source.c_str(), "user.note", "n", 1, 0);
    ::chmod(source.c_str(), 0440);
    EXPECT_EQ(makeBackupCopy(source, files), made("a backup 1.dat"));
    EXPECT_EQ(folder.listing(), "a backup 1.dat a.dat");
    EXPECT_EQ(folder.read("a backup 1.dat"), content);

    const std::string copy = folder.path("a backup 1.dat");
    struct stat status { };
    ASSERT_EQ(::stat(copy.c_str(), &status), 0);
    EXPECT_EQ(modeOf(copy), 0440u);
    EXPECT_EQ(status.st_mtim.tv_sec, 2000);
    EXPECT_EQ(status.st_mtim.tv_nsec, 7);
    if (hasCodes) {
        FileInfo info;
        EXPECT_TRUE(ExtraStringUtilities::fileInfo(copy, &info));
        EXPECT_EQ(info.type, 0x566C7234u);
        EXPECT_EQ(info.creator, 0x73683131u);
        char byte = 0;
        EXPECT_EQ(::getxattr(copy.c_str(), "user.note", &byte, 1), 1);
    }
}

TEST_F(Backup, AFileWithoutCodesHasABackupWithout)
{
    LogLines log;
    const std::string source = folder.write("a.dat", "");
    ::chmod(source.c_str(), 0400); // on such a copy nothing could be put afterwards
    EXPECT_EQ(makeBackupCopy(source, files), made("a backup 1.dat"));
    EXPECT_LT(::getxattr(folder.path("a backup 1.dat").c_str(), "user.com.apple.FinderInfo", nullptr, 0), 0);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Backup, ALinkHasItsTargetBackedUpBesideItself)
{
    fs::create_directory(folder.path("store"));
    folder.write("store/real.dat", "content");
    fs::create_symlink("store/real.dat", folder.path("link.dat"));
    EXPECT_EQ(makeBackupCopy(folder.path("link.dat"), files), made("link backup 1.dat"));
    EXPECT_FALSE(fs::is_symlink(folder.path("link backup 1.dat")));
    EXPECT_EQ(folder.read("link backup 1.dat"), "content");
}

TEST_F(Backup, WhatIsNoFileIsNotBackedUp)
{
    fs::create_directory(folder.path("d"));
    ::mkfifo(folder.path("pipe").c_str(), 0600);
    fs::create_symlink("none", folder.path("dangling"));
    for (const char* name : { "d", "pipe", "dangling", "none", "none/a" })
        EXPECT_EQ(makeBackupCopy(folder.path(name), files), notMade(folder.path(name)));
    EXPECT_EQ(folder.listing(), "d dangling pipe");
}

TEST_F(Backup, ADanglingLinkAtTheTargetIsNotWrittenThrough)
{
    const std::string source = folder.write("a", "content");
    fs::create_symlink("elsewhere", folder.path("a backup 1"));
    EXPECT_EQ(makeBackupCopy(source, files), notMade(source));
    EXPECT_EQ(folder.listing(), "a a backup 1");
}

TEST_F(Backup, TheHundredRealFilesStay)
{
    LogLines log;
    const std::string source = folder.write("a", "new");
    for (int number = 1; number <= 100; ++number)
        folder.write("a backup " + std::to_string(number), "old");
    EXPECT_EQ(makeBackupCopy(source, files), notMade(source));
    EXPECT_EQ(log.lines, std::vector<std::string> { kAllTaken });
    for (int number = 1; number <= 100; ++number)
        EXPECT_EQ(folder.read("a backup " + std::to_string(number)), "old");
}

/// A file system without clones.
class CallsWithoutClones final : public FileSystemCalls {
public:
    int clone(int, int) override
    {
        errno = EOPNOTSUPP;
        return -1;
    }
};

class FaultyBackup : public Backup {
protected:
    using Call = FaultyCalls::Call;

    /// All calls of these kinds fail from number `at` on.
    void fail(const std::set<Call>& kinds, int error, std::size_t at = 0)
    {
        calls.set({ FaultyCalls::Kind::Fails, at, /*fromThenOn=*/true, error, kinds });
    }

    /// Does something before each call of a kind.
    void before(Call kind, const std::function<void()>& event)
    {
        calls.beforeEachCall = [kind, event](Call call) {
            if (call == kind)
                event();
        };
    }

    CallsWithoutClones withoutClones;
    FaultyCalls calls { withoutClones };
    LinuxFileItems faulty { calls };
};

TEST_F(FaultyBackup, AFailureLeavesNothing)
{
    const struct {
        std::set<Call> calls;
        int error;
        std::size_t at;
    } kCases[] = { { { Call::Make }, EACCES, 0 }, { { Call::Read }, EIO, 1 }, { { Call::Write }, ENOSPC, 1 },
        { { Call::Sync }, ENOSPC, 0 }, { { Call::FolderSync }, EIO, 0 }, { { Call::Name }, EIO, 0 },
        { { Call::Name, Call::Link }, EINVAL, 0 } };
    const std::string source = folder.write("a", std::string(200000, 'v'));
    for (const auto& c : kCases) {
        fail(c.calls, c.error, c.at);
        EXPECT_EQ(makeBackupCopy(source, faulty), notMade(source)) << &c - kCases;
        EXPECT_EQ(folder.listing(), "a") << &c - kCases;
    }
    fs::remove(source);
    const std::string longest(255, 'n'); // too long with a number
    folder.write(longest, "content");
    EXPECT_EQ(makeBackupCopy(folder.path(longest), files), notMade(folder.path(longest)));
    EXPECT_EQ(folder.listing(), longest);
}

TEST_F(FaultyBackup, IsCompleteOnDiskBeforeItHasItsName)
{
    const std::string source = folder.write("a", std::string(200000, 'v'));
    ::chmod(source.c_str(), 0644);
    const std::map<Call, std::string> kSteps { { Call::Sync, "file " }, { Call::Name, "name " },
        { Call::FolderSync, "folder " } };
    std::string steps;
    std::set<mode_t> modesWhileWritten;
    calls.beforeEachCall = [&](Call call) {
        if (kSteps.contains(call))
            steps += kSteps.at(call);
        const std::string listing = folder.listing(); // the new file's name, " a"
        if (call == Call::Write)
            modesWhileWritten.insert(modeOf(folder.path(listing.substr(0, listing.size() - 2))));
    };
    EXPECT_EQ(makeBackupCopy(source, faulty), made("a backup 1"));
    EXPECT_EQ(steps, "file name folder ");
    EXPECT_EQ(modesWhileWritten, std::set<mode_t> { 0600 });
    EXPECT_EQ(folder.read("a backup 1").size(), 200000u);
    EXPECT_EQ(modeOf(folder.path("a backup 1")), 0644u);
}

TEST_F(FaultyBackup, AFileThatAppearsMeanwhileStays)
{
    const std::string source = folder.write("a", "content");
    before(Call::Name, [&] { folder.write("a backup 1", "another's"); });
    for (const bool isLinked : { false, true }) {
        if (isLinked)
            fail({ Call::Name }, EINVAL);
        EXPECT_EQ(makeBackupCopy(source, faulty), notMade(source));
        EXPECT_EQ(folder.read("a backup 1"), "another's");
        EXPECT_EQ(folder.listing(), "a a backup 1");
        fs::remove(folder.path("a backup 1"));
    }
}

TEST_F(FaultyBackup, AFileSystemWithoutThisRenamingTakesALink)
{
    const std::string source = folder.write("a", "content");
    fail({ Call::Name }, EINVAL);
    EXPECT_EQ(makeBackupCopy(source, faulty), made("a backup 1"));
    EXPECT_EQ(folder.listing(), "a a backup 1");
    EXPECT_EQ(fs::hard_link_count(folder.path("a backup 1")), 1u);
}

TEST_F(FaultyBackup, ASourceThatChangesMeanwhileIsNotBackedUp)
{
    const std::string source = folder.write("a", "content");
    before(Call::Write, [&] { folder.write("a", "more content"); });
    EXPECT_EQ(makeBackupCopy(source, faulty), notMade(source));
    EXPECT_EQ(folder.listing(), "a");
}

TEST_F(FaultyBackup, ASignalEndsItAndLeavesNothing)
{
    const std::string source = folder.write("a", std::string(200000, 'v'));
    SecondProcess copying([&](const std::function<void()>& isReady) {
        installInterruptionHandlers();
        before(Call::Write, [] { ::raise(SIGTERM); });
        isReady();
        try {
            makeBackupCopy(source, faulty);
        } catch (const Interrupted& interruption) {
            return interruption.signal();
        }
        return 0;
    });
    EXPECT_EQ(copying.wait(), SIGTERM);
    EXPECT_EQ(folder.listing(), "a");
}

/// A file system that can clone; nothing needs to be read.
class CloningCalls final : public FileSystemCalls {
public:
    int clone(int, int to) override { return ::write(to, "cloned", 6) == 6 ? 0 : -1; }
    ssize_t read(int, void*, std::size_t) override { return -1; }
};

TEST_F(Backup, IsACloneWhereThereAreClones)
{
    CloningCalls calls;
    LinuxFileItems cloning(calls);
    EXPECT_EQ(makeBackupCopy(folder.write("a", "content"), cloning), made("a backup 1"));
    EXPECT_EQ(folder.read("a backup 1"), "cloned");
}

} // namespace
