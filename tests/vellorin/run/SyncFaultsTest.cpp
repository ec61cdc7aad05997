#include "FaultyCalls.h"
#include "FileSystemInMemory.h"
#include "LongForm.h"
#include "RunFixture.h"
#include "Undo.h"

#include <array>
#include <cerrno>

#include <sys/wait.h>
#include <unistd.h>

// Each system call of a whole synchronisation, with its journal and its backups, fails in turn, in each way, and the
// process ends before each of them. The same for taking a run back.

namespace {

using Kind = FaultyCalls::Kind;
using Fault = FaultyCalls::Fault;
using Tree = FileSystemInMemory::Tree;

constexpr char kFirst[] = "/vaults/a.vlr";
constexpr char kSecond[] = "/vaults/b.vlr";
constexpr char kJournal[] = "/state/journal";
constexpr char kAttribute[] = "user.com.apple.FinderInfo";
constexpr std::array<int, 5> kErrors { ENOSPC, EIO, EINTR, EDQUOT, EACCES };
constexpr int kPowerCuts = 4;

/// The vaults of a run and what an undisturbed one makes of them.
struct Expected {
    explicit Expected(uint64_t seed)
        : before(VaultHistory(seed).pair())
        , after(merged(before))
    {
    }

    Tree tree() const { return { { kFirst, before.first }, { kSecond, before.second }, { "/state/", "" } }; }

    const VaultPair before;
    const VaultPair after;
};

/// The failure's status, or that of a success.
int statusOf(const std::function<int()>& work)
{
    try {
        return work();
    } catch (const CommandFailure& failure) {
        return failure.status();
    }
}

class SyncFaults : public QuietRuns {
protected:
    int run()
    {
        Journal journal(kJournal);
        return statusOf([&] { return synchronizeFiles(kFirst, kSecond, options, journal, console).status(); });
    }

    int takeBack()
    {
        Journal journal(kJournal);
        return statusOf([&] {
            undo({}, { false, /*confines=*/false, &partners.all }, journal, console);
            return static_cast<int>(kDone);
        });
    }

    static bool isNew(const std::string& bytes, const std::string& expected)
    {
        return isWhole(bytes) && stateOf(bytes) == stateOf(expected);
    }

    /// One run with a fault in it, then one without.
    void meet(const Expected& expected, const Fault& fault)
    {
        FileSystemInMemory files(expected.tree());
        files.knowsExchange = knowsExchange;
        FaultyCalls calls(files);
        const StFileSystemCalls inPlace(calls);
        calls.set(fault);
        const int status = run();
        calls.set({});
        ++seen[status];
        EXPECT_EQ(files.openDescriptors(), 0u);
        expectAsTold(files.tree(), expected, status);
        if (status == kFailed || status == kRefused) {
            EXPECT_EQ(files.getPathAttribute(kFirst, kAttribute, nullptr, 0), -1) << "the old file was touched";
        }
        expectWholeAfterPowerCut(files, expected, (status == kDone || status == kLookAtIt) && fault.error != EACCES);
        breakLocks(fault);
        const int next = run();
        EXPECT_TRUE(next == kDone || next == kLookAtIt) << next;
        expectMerged(files.tree(), expected);
    }

    void breakLocks(const Fault& fault)
    {
        if (!fault.fromThenOn && fault.kind != Kind::Kills)
            return;
        for (const std::string lock : { "/vaults/.a.vlr", "/vaults/.b.vlr" })
            partners.locks.lockWithPath(lock)->breakLock();
    }

    static void expectAsTold(const Tree& tree, const Expected& expected, int status)
    {
        const std::string& first = tree.at(kFirst);
        const std::string& second = tree.at(kSecond);
        if (status == kDone || status == kLookAtIt) {
            EXPECT_TRUE(isNew(first, expected.after.first));
            EXPECT_TRUE(isNew(second, expected.after.second));
        } else if (status == kHalfWritten) {
            EXPECT_TRUE(first == expected.before.first || isNew(first, expected.after.first));
            EXPECT_TRUE(second == expected.before.second || isNew(second, expected.after.second));
            EXPECT_FALSE(first == expected.before.first && second == expected.before.second);
        } else {
            EXPECT_EQ(first, expected.before.first) << status;
            EXPECT_EQ(second, expected.before.second) << status;
        }
    }

    void expectWholeAfterPowerCut(const FileSystemInMemory& files, const Expected& expected, bool mustBeNew)
    {
        for (int state = 0; state < kPowerCuts; ++state) {
            const Tree left = files.afterPowerCut([&](std::size_t bound) { return random() % bound; });
            const bool isFirstOld = left.at(kFirst) == expected.before.first;
            const bool isSecondOld = left.at(kSecond) == expected.before.second;
            EXPECT_TRUE(isFirstOld || isNew(left.at(kFirst), expected.after.first));
            EXPECT_TRUE(isSecondOld || isNew(left.at(kSecond), expected.after.second));
            EXPECT_FALSE(mustBeNew && (isFirstOld || isSecondOld)) << "a success is not there any more";
        }
    }

    /// Beside the vaults stand backups with old bytes, and nothing else.
    static void expectMerged(const Tree& tree, const Expected& expected)
    {
        EXPECT_TRUE(isNew(tree.at(kFirst), expected.after.first));
        EXPECT_TRUE(isNew(tree.at(kSecond), expected.after.second));
        for (const auto& [path, bytes] : tree) {
            if (!path.starts_with("/vaults/") || path == "/vaults/" || path == kFirst || path == kSecond)
                continue;
            EXPECT_TRUE(path.starts_with("/vaults/a backup ") || path.starts_with("/vaults/b backup ")) << path;
            EXPECT_TRUE(
                bytes == expected.before.first || bytes == expected.before.second || isNew(bytes, expected.after.first))
                << path << " holds something else";
        }
    }

    std::size_t callsOf(const Expected& expected)
    {
        FileSystemInMemory files(expected.tree());
        files.knowsExchange = knowsExchange;
        FaultyCalls calls(files);
        const StFileSystemCalls inPlace(calls);
        const int status = run();
        EXPECT_TRUE(status == kDone || status == kLookAtIt);
        return calls.count();
    }

    void sweep(uint64_t seed, const std::vector<Fault>& faults)
    {
        const Expected expected(seed);
        const std::size_t calls = callsOf(expected);
        ASSERT_GT(calls, 100u);
        for (Fault fault : faults) {
            for (fault.at = 0; fault.at < calls; ++fault.at) {
                SCOPED_TRACE("call " + std::to_string(fault.at) + (fault.fromThenOn ? " and all behind it" : "")
                    + ", error " + std::to_string(fault.error) + ", seed " + std::to_string(seed));
                meet(expected, fault);
                if (HasFailure())
                    return;
            }
        }
    }

    static std::vector<Fault> eachError(bool fromThenOn)
    {
        std::vector<Fault> faults;
        for (const int error : kErrors)
            faults.push_back({ Kind::Fails, 0, fromThenOn, error });
        return faults;
    }

    std::map<int, std::size_t> seen; // outcomes of runs with a fault
    bool knowsExchange = true;
    std::mt19937_64 random { 4713 };
};

TEST_F(SyncFaults, EachCallOnceWithEachError)
{
    for (uint64_t seed = 300; seed < (isLongForm() ? 310u : 301u) && !HasFailure(); ++seed)
        sweep(seed, eachError(/*fromThenOn=*/false));
}

TEST_F(SyncFaults, AllCallsFromOneOnWithEachError)
{
    for (uint64_t seed = 310; seed < (isLongForm() ? 320u : 311u) && !HasFailure(); ++seed)
        sweep(seed, eachError(/*fromThenOn=*/true));
    EXPECT_GT(seen[kHalfWritten], 0u);
    EXPECT_GT(seen[kFailed], 100u);
}

TEST_F(SyncFaults, ShortReadsAndWritesLoseNothing)
{
    sweep(/*seed=*/320, { { Kind::Short, 0, /*fromThenOn=*/false, 0 }, { Kind::Short, 0, /*fromThenOn=*/true, 0 } });
}

TEST_F(SyncFaults, OnAFileSystemThatCantExchangeNames)
{
    knowsExchange = false;
    sweep(
        /*seed=*/330, { { Kind::Fails, 0, /*fromThenOn=*/false, EIO }, { Kind::Fails, 0, /*fromThenOn=*/true, EIO } });
}

TEST_F(SyncFaults, TakingBackLeavesAllOldOrAllNewToo)
{
    const Expected expected(340);
    std::size_t calls = 1;
    for (std::size_t at = 0; at < 2 * calls && !HasFailure(); ++at) {
        SCOPED_TRACE("call " + std::to_string(at / 2) + (at % 2 == 1 ? " and all behind it" : ""));
        FileSystemInMemory files(expected.tree());
        FaultyCalls faulty(files);
        const StFileSystemCalls inPlace(faulty);
        run();
        faulty.set({ Kind::Fails, at / 2, at % 2 == 1, EIO });
        const int status = takeBack();
        if (!faulty.hasStruck())
            break;
        calls = faulty.count() + 1 > calls ? at / 2 + 2 : calls;
        faulty.set({});
        const bool isFirstBack = files.tree().at(kFirst) == expected.before.first;
        const bool isSecondBack = files.tree().at(kSecond) == expected.before.second;
        if (status == kDone) {
            EXPECT_TRUE(isFirstBack && isSecondBack);
        } else if (status == kHalfWritten) {
            EXPECT_TRUE(isFirstBack || isSecondBack);
        } else {
            EXPECT_TRUE(!isFirstBack && !isSecondBack) << status;
        }
        EXPECT_EQ(files.openDescriptors(), 0u);
        breakLocks({ Kind::Fails, 0, /*fromThenOn=*/true, 0 });
        if (!isFirstBack || !isSecondBack) { // what was begun can be ended
            EXPECT_EQ(takeBack(), kDone);
            EXPECT_EQ(files.tree().at(kFirst), expected.before.first);
            EXPECT_EQ(files.tree().at(kSecond), expected.before.second);
        }
    }
    EXPECT_GT(calls, 50u);
}

/// Files on the disk, and a child process for each run that is killed.
TEST_F(SyncFaults, AKillBeforeAnyCallLeavesWholeFilesAndTheNextRunEndsIt)
{
    const Expected expected(350);
    ScratchFolder folder { folderInMemory() };
    UnsyncedCalls unsynced;
    FaultyCalls calls(unsynced);
    const StFileSystemCalls inPlace(calls);
    bool gotThrough = false;
    std::size_t left = 0;
    std::size_t half = 0;
    for (std::size_t killedAt = 0; !gotThrough && !HasFailure(); ++killedAt) {
        SCOPED_TRACE("killed before call " + std::to_string(killedAt));
        folder.write("a.vlr", expected.before.first);
        folder.write("b.vlr", expected.before.second);
        const auto sync = [&] {
            Journal journal(folder.path("journal"));
            options.backups = killedAt % 2 == 0;
            return statusOf([&] {
                return synchronizeFiles(folder.path("a.vlr"), folder.path("b.vlr"), options, journal, console).status();
            });
        };
        const pid_t child = ::fork();
        if (child == 0) {
            calls.set({ Kind::Kills, killedAt, /*fromThenOn=*/true, 0 });
            ::_exit(sync());
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        gotThrough = WEXITSTATUS(status) != FaultyCalls::kKilled;
        const bool isFirstOld = folder.read("a.vlr") == expected.before.first;
        const bool isSecondOld = folder.read("b.vlr") == expected.before.second;
        EXPECT_TRUE(isFirstOld || isNew(folder.read("a.vlr"), expected.after.first));
        EXPECT_TRUE(isSecondOld || isNew(folder.read("b.vlr"), expected.after.second));
        half += isFirstOld != isSecondOld;
        for (const std::string name : { ".a.vlr", ".b.vlr" })
            partners.locks.lockWithPath(folder.path(name))->breakLock();
        left += folder.listing().find(".a.vlr.") != std::string::npos;
        calls.set({});
        const int next = sync();
        EXPECT_TRUE(next == kDone || next == kLookAtIt) << next;
        EXPECT_TRUE(isNew(folder.read("a.vlr"), expected.after.first));
        EXPECT_TRUE(isNew(folder.read("b.vlr"), expected.after.second));
        for (const auto& entry : std::filesystem::directory_iterator(folder.path("")))
            EXPECT_NE(entry.path().filename().string()[0], '.') << entry.path();
        std::filesystem::remove_all(folder.path("journal"));
        for (const auto& entry : std::filesystem::directory_iterator(folder.path("")))
            std::filesystem::remove(entry.path());
    }
    EXPECT_GT(left, 10u); // there was something to remove
    EXPECT_GT(half, 0u); // and to end
}

} // namespace
