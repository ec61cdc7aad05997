#include "FaultyCalls.h"
#include "RunFixture.h"
#include "RunTraces.h"
#include "ScarceMemory.h"
#include "Undo.h"
#include "VLR_RawMemory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>

// Each allocation of a whole synchronisation, with its plan, staging, proof, backups and journal, fails in turn, and then
// all from one on.

namespace {

/// Those of the real files, as file systems differ, and without waiting for the disk.
class CallsOfSomeFileSystem final : public FileSystemCalls {
public:
    int sync(int) override { return 0; }
    void beginSync(int, off_t, std::size_t) override { }
    int exchangeAt(int folder, const std::string& one, const std::string& other) override
    {
        return knowsExchange ? FileSystemCalls::exchangeAt(folder, one, other) : refuse(EINVAL);
    }
    int linkAt(int folder, const std::string& from, const std::string& to) override
    {
        return knowsLinks ? FileSystemCalls::linkAt(folder, from, to) : refuse(EPERM);
    }

    /// The replacement of this path fails.
    int renameAt(int folder, const std::string& from, const std::string& to) override
    {
        return to == unreplaceable ? refuse(EIO) : FileSystemCalls::renameAt(folder, from, to);
    }

    bool knowsExchange = true;
    bool knowsLinks = true;
    std::string unreplaceable;

private:
    static int refuse(int error)
    {
        errno = error;
        return -1;
    }
};

class SyncScarceMemory : public QuietRuns {
protected:
    void run()
    {
        Journal journal(vaults.journal);
        synchronizeFiles(vaults.first(), vaults.second(), options, journal, console);
    }

    void takeBack()
    {
        Journal journal(vaults.journal);
        undo({ vaults.first(), vaults.second() }, { false, /*confines=*/false, &partners.all }, journal, console);
    }

    /// Work that runs out of memory; its exit status, as the program would end.
    static int statusOf(const std::function<void()>& work, std::size_t allocations, bool failsOnce)
    {
        const VLR_RawMemory before = VLR_SetRawMemory(
            { [](std::size_t size) { return ScarceMemory::grant() ? std::calloc(1, size) : nullptr; }, std::free });
        ScarceMemory::shortages = 0;
        ScarceMemory::failsOnce = failsOnce;
        ScarceMemory::left = allocations;
        int status = kDone;
        try {
            work();
        } catch (const CommandFailure& failure) {
            status = failure.status();
        } catch (...) {
            status = kFailed;
        }
        ScarceMemory::left = SIZE_MAX;
        VLR_SetRawMemory(before);
        return status;
    }

    void begin() const
    {
        for (const auto& [path, bytes] : tree())
            std::filesystem::remove_all(path);
        std::filesystem::create_directory(vaults.folder);
        folder.write(std::string(kName) + "/a.vlr", vaults.before.first);
        folder.write(std::string(kName) + "/b.vlr", vaults.before.second);
    }

    TracesTree tree() const
    {
        TracesTree tree;
        for (const ScratchFolder* const scratch : { &folder, &state }) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(scratch->path(""))) {
                const std::string path = std::filesystem::canonical(entry.path()).string();
                if (entry.is_directory())
                    tree[path + "/"] = "";
                else
                    tree[path] = bytesOf(path);
            }
        }
        return tree;
    }

    static std::string bytesOf(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return { std::istreambuf_iterator<char>(file), {} };
    }

    static Written writtenBy(int status)
    {
        return status == kDone ? Written::Both : status == kHalfWritten ? Written::Any : Written::None;
    }

    void expectNothingLeftOver(const TracesTree& tree) const
    {
        EXPECT_EQ(leftBeside(tree, vaults), std::vector<std::string>());
        for (const auto& [path, bytes] : tree)
            EXPECT_EQ(path.find(vaults.journal + "/."), std::string::npos) << path;
    }

    /// What has failed and changed nothing leaves no trace.
    void expectAsTold(int status) const
    {
        const TracesTree left = tree();
        EXPECT_EQ(faultIn(left, vaults, writtenBy(status)), "") << "status " << status;
        expectNothingLeftOver(left);
        const std::size_t traces = writtenBy(status) == Written::None ? 0 : 1;
        EXPECT_EQ(entriesIn(left, vaults).size(), traces) << "status " << status;
        EXPECT_EQ(backupsIn(left, vaults).size(), 2 * traces) << "status " << status;
    }

    /// Ends what was begun.
    void expectRepair(int status)
    {
        run();
        const TracesTree left = tree();
        EXPECT_TRUE(vaults.isFirstNew(bytesOf(vaults.first())));
        EXPECT_TRUE(vaults.isSecondNew(bytesOf(vaults.second())));
        expectNothingLeftOver(left);
        if (status != kHalfWritten) {
            EXPECT_EQ(faultIn(left, vaults, Written::Both), "");
            takeBack();
            EXPECT_EQ(bytesOf(vaults.first()), vaults.before.first);
            EXPECT_EQ(bytesOf(vaults.second()), vaults.before.second);
        }
    }

    /// How many of the language's allocations a run takes up to its replacements, about.
    std::size_t allocationsBeforeTheEnd()
    {
        constexpr std::size_t kPlenty = SIZE_MAX / 2;
        begin();
        ScarceMemory::left = kPlenty;
        run();
        const std::size_t all = kPlenty - ScarceMemory::left;
        ScarceMemory::left = SIZE_MAX;
        return all - all / 4;
    }

    void sweep(bool failsOnce, std::size_t from = 0)
    {
        for (std::size_t allocations = from; !HasFailure(); ++allocations) {
            SCOPED_TRACE("allocation " + std::to_string(allocations) + (failsOnce ? "" : " and all behind it"));
            begin();
            const int status = statusOf([&] { run(); }, allocations, failsOnce);
            expectAsTold(status);
            ++seen[status];
            if (ScarceMemory::shortages == 0)
                break;
            expectRepair(status);
        }
        EXPECT_GT(seen[kFailed], from == 0 ? 500u : 50u);
    }

    static constexpr char kName[] = "caf\xE9"; // no UTF-8, which the journal writes otherwise

    ScratchFolder folder { folderInMemory() };
    ScratchFolder state { folderInMemory() };
    const VaultsOfRun vaults { /*seed=*/370, std::filesystem::canonical(folder.path("")).string() + "/" + kName,
        std::filesystem::canonical(state.path("")).string() + "/journal" };
    CallsOfSomeFileSystem calls;
    const StFileSystemCalls inPlace { calls };
    std::map<int, std::size_t> seen; // outcomes
};

TEST_F(SyncScarceMemory, EachAllocationOnce)
{
    sweep(/*failsOnce=*/true);
    EXPECT_GT(seen[kDone], 10u); // what fails behind the replacement makes no failure
}

TEST_F(SyncScarceMemory, AllAllocationsFromOneOn)
{
    sweep(/*failsOnce=*/false);
    EXPECT_GT(seen[kDone], 10u);
}

/// The old file is kept under a further name, which needs memory between the two replacements.
TEST_F(SyncScarceMemory, WhereNamesCantBeExchanged)
{
    calls.knowsExchange = false;
    for (const bool knowsLinks : { true, false }) {
        calls.knowsLinks = knowsLinks;
        const std::size_t from = allocationsBeforeTheEnd();
        sweep(/*failsOnce=*/true, from);
        sweep(/*failsOnce=*/false, from);
    }
}

/// The second can't be replaced, and the first is taken back.
TEST_F(SyncScarceMemory, WhereTheFirstIsTakenBack)
{
    calls.knowsExchange = false;
    calls.unreplaceable = "b.vlr";
    for (const bool failsOnce : { true, false }) {
        for (std::size_t allocations = 0; !HasFailure(); ++allocations) {
            SCOPED_TRACE("allocation " + std::to_string(allocations) + (failsOnce ? "" : " and all behind it"));
            begin();
            const int status = statusOf([&] { run(); }, allocations, failsOnce);
            EXPECT_EQ(status, kFailed);
            expectAsTold(status);
            if (ScarceMemory::shortages == 0)
                break;
        }
    }
}

TEST_F(SyncScarceMemory, TakingBackLeavesAllOldOrAllNewToo)
{
    for (const bool failsOnce : { true, false }) {
        for (std::size_t allocations = 0; !HasFailure(); ++allocations) {
            SCOPED_TRACE("allocation " + std::to_string(allocations) + (failsOnce ? "" : " and all behind it"));
            begin();
            run();
            const int status = statusOf([&] { takeBack(); }, allocations, failsOnce);
            const bool isDone = status == kDone;
            EXPECT_TRUE(isDone || status == kFailed) << status;
            EXPECT_EQ(bytesOf(vaults.first()) == vaults.before.first, isDone) << status;
            EXPECT_EQ(bytesOf(vaults.second()) == vaults.before.second, isDone) << status;
            EXPECT_EQ(faultIn(tree(), vaults, isDone ? Written::None : Written::Both), "");
            expectNothingLeftOver(tree());
            if (ScarceMemory::shortages == 0)
                break;
            if (!isDone)
                takeBack();
            EXPECT_EQ(bytesOf(vaults.first()), vaults.before.first);
            EXPECT_EQ(bytesOf(vaults.second()), vaults.before.second);
        }
    }
}

} // namespace
