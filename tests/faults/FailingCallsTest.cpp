#include "FaultyCalls.h"
#include "FileSystemInMemory.h"
#include "ScratchFolder.h"
#include "Synchronisation.h"
#include "VaultBackups.h"
#include "VaultHistory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <random>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

// Each system call of a synchronisation fails in turn, in each way, and the process ends before each of them. Every
// sweep runs over its own pairs of vaults.

namespace {

using Kind = FaultyCalls::Kind;
using Fault = FaultyCalls::Fault;

constexpr char kFolder[] = "/vaults/";
constexpr char kFirst[] = "/vaults/a.vlr";
constexpr char kSecond[] = "/vaults/b.vlr";
constexpr char kFirstLock[] = "/vaults/.a.vlr/";
constexpr char kSecondLock[] = "/vaults/.b.vlr/";

constexpr int kPowerCuts = 16; // random ones, behind each run
constexpr std::array<int, 5> kErrors { ENOSPC, EIO, EINTR, EDQUOT, EACCES };

/// Pairs of vaults that each sweep meets, and where.
struct Row {
    const char* name;
    int pairs;
    bool isBackedUp; // each vault has bytes that can't be carried over, so that it is copied before it is replaced
    bool knowsRenamingToFreeNames; // or a copy gets its name as a second one
};

constexpr Row kRows[] = {
    { "carried whole", 10, /*isBackedUp=*/false, /*knowsRenamingToFreeNames=*/true },
    { "backed up", 2, /*isBackedUp=*/true, /*knowsRenamingToFreeNames=*/true },
    { "backed up by a second name", 1, /*isBackedUp=*/true, /*knowsRenamingToFreeNames=*/false },
};

VaultPair pairOf(const Row& row, uint64_t seed)
{
    const VaultPair vaults = VaultHistory(seed).pair();
    return row.isBackedUp ? withUncarriedBytes(vaults) : vaults;
}

/// The vaults of a run and what an undisturbed one makes of them.
struct Expected {
    Expected(const VaultPair& vaults, const Row& row)
        : vaults(vaults)
        , isBackedUp(row.isBackedUp)
        , before { stateOf(vaults.first), stateOf(vaults.second) }
        , after(afterMerge(vaults))
    {
    }

    static std::array<VaultState, 2> afterMerge(const VaultPair& vaults)
    {
        const VaultPair result = merged(vaults);
        return { stateOf(result.first), stateOf(result.second) };
    }

    VaultPair vaults;
    bool isBackedUp;
    std::array<VaultState, 2> before;
    std::array<VaultState, 2> after;
};

/// Behind an undisturbed run: both are new, and nothing else is there but backups.
void expectMerged(const Files& files, const Expected& expected)
{
    std::string names;
    for (const auto& [name, bytes] : files)
        names += isBackup(name) ? "" : name + " ";
    ASSERT_EQ(names, "a.vlr b.vlr ");
    EXPECT_TRUE(stateOf(files.at("a.vlr")) == expected.after[0]);
    EXPECT_TRUE(stateOf(files.at("b.vlr")) == expected.after[1]);
    expectBackups(files, expected.vaults, expected.isBackedUp, /*mustBeThere=*/true);
}

class FailingCalls : public ::testing::Test {
protected:
    static FileSystemInMemory folderWith(const Expected& expected, const Row& row)
    {
        FileSystemInMemory files({ { kFirst, expected.vaults.first }, { kSecond, expected.vaults.second } });
        files.knowsRenamingToFreeNames = row.knowsRenamingToFreeNames;
        return files;
    }

    static Files filesIn(const FileSystemInMemory::Tree& tree)
    {
        Files files;
        for (const auto& [path, bytes] : tree) {
            if (path != kFolder)
                files[path.substr(sizeof kFolder - 1)] = bytes;
        }
        return files;
    }

    /// One run in memory with a fault in it, then one without.
    void meet(const Expected& expected, const Row& row, const Fault& fault)
    {
        FileSystemInMemory files = folderWith(expected, row);
        FaultyCalls calls(files);
        const StFileSystemCalls inPlace(calls);
        calls.set(fault);
        Synchronisation synchronisation(clock);
        const std::string result = synchronisation.run(kFirst, kSecond);
        calls.set({});
        EXPECT_EQ(files.openDescriptors(), 0u);
        expectOldOrNew(files.tree(), expected, result, synchronisation.notReplaced);
        expectBackups(filesIn(files.tree()), expected.vaults, expected.isBackedUp, /*mustBeThere=*/true);
        const bool succeeded = result == SynchronizeFiles::kSuccess && synchronisation.notReplaced.empty();
        expectWholeAfterPowerCut(files, expected, succeeded, /*folderLasts=*/fault.error != EACCES);
        if (fault.fromThenOn) // then a lock may stay, as it can't be removed
            breakLocks();
        EXPECT_EQ(files.tree().count(kFirstLock) + files.tree().count(kSecondLock), 0u) << "a lock stays";

        EXPECT_EQ(synchronisation.run(kFirst, kSecond), SynchronizeFiles::kSuccess);
        EXPECT_TRUE(synchronisation.notReplaced.empty());
        expectMerged(filesIn(files.tree()), expected);
    }

    /// Each file is its old or its new self, and none is old without word of it.
    void expectOldOrNew(const FileSystemInMemory::Tree& tree, const Expected& expected, const std::string& result,
        const std::set<std::string>& notReplaced)
    {
        const char* const paths[] = { kFirst, kSecond };
        for (std::size_t i = 0; i < 2; ++i) {
            ASSERT_EQ(tree.count(paths[i]), 1u) << paths[i];
            const VaultState state = stateOf(tree.at(paths[i]));
            const bool isNew = state == expected.after[i];
            EXPECT_TRUE(isNew || state == expected.before[i]) << paths[i];
            EXPECT_TRUE(isNew || result != SynchronizeFiles::kSuccess || notReplaced.count(paths[i]) > 0)
                << paths[i] << " is old and nobody says so";
        }
    }

    /// A sync that fails is no sync: what the run says of it must hold in what a power cut right behind the run leaves.
    /// Only of a folder that may not be read a success says nothing, as it can't be synced.
    void expectWholeAfterPowerCut(
        const FileSystemInMemory& files, const Expected& expected, bool succeeded, bool folderLasts)
    {
        const FileSystemInMemory::Tree present = files.tree();
        for (int state = 0; state < kPowerCuts; ++state) {
            const FileSystemInMemory::Tree left
                = files.afterPowerCut([&](std::size_t bound) { return random() % bound; });
            for (const auto& [path, old] :
                { std::pair(kFirst, expected.vaults.first), std::pair(kSecond, expected.vaults.second) }) {
                ASSERT_EQ(left.count(path), 1u) << path;
                const bool isOld = left.at(path) == old;
                EXPECT_TRUE(left.at(path) == present.at(path) || (isOld && !(succeeded && folderLasts)))
                    << path << (isOld ? " is old again" : " is damaged") << " after a power cut";
            }
            expectBackups(filesIn(left), expected.vaults, expected.isBackedUp, /*mustBeThere=*/folderLasts);
        }
    }

    /// What docs/hand-off.md tells people to do about a lock that stays.
    static void breakLocks()
    {
        for (const std::string lock : { "/vaults/.a.vlr", "/vaults/.b.vlr" })
            LinuxLockSystem().lockWithPath(lock)->breakLock();
    }

    std::size_t callsOf(const Expected& expected, const Row& row)
    {
        FileSystemInMemory files = folderWith(expected, row);
        FaultyCalls calls(files);
        const StFileSystemCalls inPlace(calls);
        EXPECT_EQ(Synchronisation(clock).run(kFirst, kSecond), SynchronizeFiles::kSuccess);
        expectMerged(filesIn(files.tree()), expected);
        return calls.count();
    }

    /// Every call of a run on each row's pairs, with each fault of `faults`; `at` is filled in here.
    void sweep(uint64_t firstSeed, const std::vector<Fault>& faults)
    {
        uint64_t seed = firstSeed;
        for (const Row& row : kRows) {
            for (int pair = 0; pair < row.pairs && !HasFailure(); ++pair)
                sweep(row, seed++, faults);
        }
    }

    void sweep(const Row& row, uint64_t seed, const std::vector<Fault>& faults)
    {
        const Expected expected(pairOf(row, seed), row);
        const std::size_t calls = callsOf(expected, row);
        ASSERT_GT(calls, row.isBackedUp ? 100u : 50u);
        for (Fault fault : faults) {
            for (fault.at = 0; fault.at < calls; ++fault.at) {
                SCOPED_TRACE(std::string(row.name) + ", call " + std::to_string(fault.at)
                    + (fault.fromThenOn ? " and all behind it" : "") + ", error " + std::to_string(fault.error)
                    + ", seed " + std::to_string(seed));
                meet(expected, row, fault);
                if (HasFailure())
                    return;
            }
        }
    }

    StNoLog log;
    ClockStandIn clock;
    std::mt19937_64 random { 4712 };

    FailingCalls() { clock.step = 1; } // the wait for a lock is over in 15 looks
};

TEST_F(FailingCalls, EachOnceWithEachError)
{
    std::vector<Fault> faults;
    for (const int error : kErrors)
        faults.push_back({ Kind::Fails, 0, /*fromThenOn=*/false, error });
    sweep(/*firstSeed=*/100, faults);
}

TEST_F(FailingCalls, AllFromOneOnWithEachError)
{
    std::vector<Fault> faults;
    for (const int error : kErrors)
        faults.push_back({ Kind::Fails, 0, /*fromThenOn=*/true, error });
    sweep(/*firstSeed=*/200, faults);
}

TEST_F(FailingCalls, ShortReadsAndWritesLoseNothing)
{
    sweep(
        /*firstSeed=*/300, { { Kind::Short, 0, /*fromThenOn=*/false, 0 }, { Kind::Short, 0, /*fromThenOn=*/true, 0 } });
}

/// Files on the disk, and a child process for each run that is killed.
class KilledRuns : public ::testing::Test {
protected:
    /// True if the run got through before its end came.
    bool runInChild(std::size_t killedAt)
    {
        const pid_t child = ::fork();
        if (child == 0) {
            calls.set({ Kind::Kills, killedAt, /*fromThenOn=*/true, 0 });
            const bool succeeded = Synchronisation(clock).run(first, second) == SynchronizeFiles::kSuccess;
            ::_exit(succeeded ? 0 : 1);
        }
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_TRUE(WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == FaultyCalls::kKilled) << WEXITSTATUS(status);
        return WEXITSTATUS(status) == 0;
    }

    void breakLocks()
    {
        for (const std::string name : { ".a.vlr", ".b.vlr" })
            LinuxLockSystem().lockWithPath(folder.path(name))->breakLock();
    }

    Files files() const { return filesIn(folder); }

    /// A run is killed before each of its calls, and another one comes after it. Answers how often something was left.
    std::size_t sweep(const Expected& expected)
    {
        bool gotThrough = false;
        std::size_t left = 0;
        for (std::size_t killedAt = 0; !gotThrough && !HasFailure(); ++killedAt) {
            SCOPED_TRACE("killed before call " + std::to_string(killedAt));
            for (const auto& [name, bytes] : files())
                std::filesystem::remove_all(folder.path(name));
            folder.write("a.vlr", expected.vaults.first);
            folder.write("b.vlr", expected.vaults.second);
            gotThrough = runInChild(killedAt);
            for (std::size_t i = 0; i < 2; ++i) {
                const VaultState state = stateOf(folder.read(i == 0 ? "a.vlr" : "b.vlr"));
                EXPECT_TRUE(state == expected.before[i] || state == expected.after[i]) << i;
            }
            expectBackups(files(), expected.vaults, expected.isBackedUp, /*mustBeThere=*/true);
            breakLocks();
            left += folder.listing() != "a.vlr b.vlr";
            calls.set({});
            EXPECT_EQ(Synchronisation(clock).run(first, second), SynchronizeFiles::kSuccess);
            expectMerged(files(), expected);
        }
        return left;
    }

    StNoLog log;
    ClockStandIn clock;
    ScratchFolder folder;
    UnsyncedCalls unsynced;
    FaultyCalls calls { unsynced };
    const StFileSystemCalls inPlace { calls };
    const std::string first = folder.path("a.vlr");
    const std::string second = folder.path("b.vlr");
};

TEST_F(KilledRuns, LeaveWholeFilesAndNothingThatTheNextRunDoesNotRemove)
{
    clock.step = 1;
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        unsynced.knowsRenamingToFreeNames = row.knowsRenamingToFreeNames;
        EXPECT_GT(sweep(Expected(pairOf(row, /*seed=*/5), row)), 10u); // there was something to remove
    }
}

/// The two file systems of these tests behave alike where a synchronisation looks.
TEST_F(KilledRuns, TheFileSystemInMemorySeesTheSameCalls)
{
    const VaultPair vaults = VaultHistory(/*seed=*/6).pair();
    folder.write("a.vlr", vaults.first);
    folder.write("b.vlr", vaults.second);
    EXPECT_EQ(Synchronisation(clock).run(first, second), SynchronizeFiles::kSuccess);
    FileSystemInMemory files({ { kFirst, vaults.first }, { kSecond, vaults.second } });
    FaultyCalls inMemory(files);
    const StFileSystemCalls inMemoryInPlace(inMemory);
    EXPECT_EQ(Synchronisation(clock).run(kFirst, kSecond), SynchronizeFiles::kSuccess);
    EXPECT_EQ(inMemory.count(), calls.count());
    EXPECT_TRUE(stateOf(files.tree().at(kFirst)) == stateOf(folder.read("a.vlr")));
}

/// What has the form of a left-over but is none stays: another vault's, a folder, a link, and the file of a living run.
TEST_F(KilledRuns, OnlyWhatIsOursAndDeadIsRemoved)
{
    const VaultPair vaults = VaultHistory(/*seed=*/7).pair();
    folder.write("a.vlr", vaults.first);
    folder.write("b.vlr", vaults.second);
    folder.write(".a.vlr.0123456789abcdef", "dead");
    folder.write(".b.vlr.0123456789abcdef", "alive");
    folder.write(".c.vlr.0123456789abcdef", "another vault's");
    folder.write(".a.vlr.0123456789ABCDEF", "another form");
    ASSERT_EQ(::symlink("a.vlr", folder.path(".a.vlr.00000000000000aa").c_str()), 0);
    ASSERT_EQ(unsynced.makeFolderAt(AT_FDCWD, folder.path(".a.vlr.00000000000000bb"), 0755), 0);
    ASSERT_EQ(unsynced.makeFolderAt(AT_FDCWD, folder.path(".a.vlr.0123456789ab"), 0755), 0);
    const int alive = unsynced.openAt(AT_FDCWD, folder.path(".b.vlr.0123456789abcdef"), O_RDONLY, 0);
    ASSERT_EQ(unsynced.markInUse(alive), 0);
    EXPECT_EQ(Synchronisation(clock).run(first, second), SynchronizeFiles::kSuccess);
    EXPECT_EQ(folder.listing(),
        ".a.vlr.00000000000000aa .a.vlr.00000000000000bb .a.vlr.0123456789ABCDEF .b.vlr.0123456789abcdef "
        ".c.vlr.0123456789abcdef a.vlr b.vlr");
    ::close(alive);
}

} // namespace
