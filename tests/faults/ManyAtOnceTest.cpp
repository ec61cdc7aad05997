#include "DocumentLock.h"
#include "FaultyCalls.h"
#include "LongForm.h"
#include "ScratchFolder.h"
#include "Synchronisation.h"
#include "VaultHistory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

// Eight processes synchronise eight vaults in a ring, each with its neighbours, while two more edit them.

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kVaults = 8;
constexpr int kEditors = 2;
constexpr char kLockTimeOut[] = "<It appears your Vellorin file is open by another program.";

std::chrono::seconds duration()
{
    return std::chrono::seconds(isLongForm() ? 60 : 5);
}

/// Time runs faster for those who wait for a lock: the ring can wait for itself, and does so half a second, not 15.
class FastClock final : public CFClock {
public:
    CFAbsoluteTime CFAbsoluteTimeGetCurrent() const override
    {
        return 30 * std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
    }
};

void shortPause()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

class Ring : public ::testing::Test {
protected:
    Ring()
    {
        OpenVault open;
        for (int i = 0; i < 20; ++i) {
            const std::string uuid = VaultHistory(static_cast<uint64_t>(i)).freshUUID();
            open.add(uuid, "Common");
            alive.insert(uuid);
        }
        const std::string vault = open.bytes();
        for (int i = 0; i < kVaults; ++i)
            folder.write(name(i), vault);
    }

    static std::string name(int vault) { return "v" + std::to_string((vault + kVaults) % kVaults) + ".vlr"; }

    /// Runs `work` in a process of its own; it answers whether all was well.
    void start(const std::function<bool()>& work)
    {
        const pid_t child = ::fork();
        if (child == 0) {
            bool isWell = false;
            try {
                isWell = work() && !HasFailure();
            } catch (const std::exception& failure) {
                std::cerr << failure.what() << '\n';
            }
            ::_exit(isWell ? 0 : 1);
        }
        children.push_back(child);
    }

    void waitForAll()
    {
        for (const pid_t child : children) {
            int status = 0;
            EXPECT_EQ(::waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0);
        }
    }

    bool synchronise(Synchronisation& synchronisation, int first, int second)
    {
        const std::string result = synchronisation.run(folder.path(name(first)), folder.path(name(second)));
        const bool succeeded = result == SynchronizeFiles::kSuccess && synchronisation.notReplaced.empty();
        if (!succeeded && result.rfind(kLockTimeOut, 0) != 0)
            std::cerr << result << " " << synchronisation.notReplaced.size() << " not replaced\n";
        runs += succeeded;
        return succeeded || result.rfind(kLockTimeOut, 0) == 0;
    }

    bool synchroniseOrdered(Synchronisation& synchronisation, int own, int neighbour, bool backwards)
    {
        const bool ownFirst = (name(own) < name(neighbour)) != backwards;
        return synchronise(synchronisation, ownFirst ? own : neighbour, ownFirst ? neighbour : own);
    }

    /// With its neighbours in turn. Runs that take the same vaults in another order can wait for one another until
    /// their time is up, so that is the exception here.
    bool synchroniseUntilTheEnd(int own)
    {
        Synchronisation synchronisation(clock, shortPause);
        bool isWell = true;
        for (int turn = 0; isWell && Clock::now() < end; ++turn)
            isWell = synchroniseOrdered(synchronisation, own, own + (turn % 2 == 0 ? 1 : -1), turn % 20 == 19);
        note("runs", std::to_string(runs));
        return isWell;
    }

    /// Changes vaults as a program does that takes the write lock, and notes what has reached the file.
    bool editUntilTheEnd(uint64_t seed)
    {
        VaultHistory random(seed);
        while (Clock::now() < end) {
            const std::string path = folder.path(name(static_cast<int>(random.below(kVaults))));
            LinuxLockSystem system;
            DocumentLock lock(system);
            if (lock.grabWriteLockForFile(path, /*rememberIfFailed=*/false) && !edit(path, random))
                return false;
            lock.unlockAllWriteLocks();
            shortPause();
        }
        return true;
    }

    bool edit(const std::string& path, VaultHistory& random)
    {
        LinuxFileManager files;
        const std::optional<NSData> data = files.dataWithContentsOfFile(path);
        if (!data)
            return false;
        OpenVault open(std::string(reinterpret_cast<const char*>(data->bytes()), data->length()));
        std::string added = random.freshUUID();
        std::string ended;
        const std::size_t kind = random.below(3);
        if (kind == 0 || open.count() < 10)
            open.add(added, "Added");
        else if (kind == 1)
            ended = open.edit(static_cast<uint32_t>(random.below(open.count())), "Edited " + added, added);
        else
            ended = open.remove(static_cast<uint32_t>(random.below(open.count()))), added.clear();
        const std::string bytes = open.bytes();
        if (!files.writeToFile(NSData::dataWithBytes(bytes.data(), bytes.size()), path))
            return false;
        if (!added.empty())
            note("added", added);
        if (!ended.empty())
            note("ended", ended);
        return true;
    }

    /// A line of one process among those of the others.
    void note(const std::string& kind, const std::string& text) const
    {
        std::ofstream(notes.path(kind), std::ios::app) << text + "\n" << std::flush;
    }

    std::set<std::string> noted(const std::string& kind) const
    {
        std::istringstream lines(notes.read(kind));
        return { std::istream_iterator<std::string>(lines), {} };
    }

    StNoLog log;
    FastClock clock;
    UnsyncedCalls unsynced;
    const StFileSystemCalls inPlace { unsynced };
    ScratchFolder folder { folderInMemory() };
    ScratchFolder notes { folderInMemory() };
    std::set<std::string> alive;
    std::vector<pid_t> children;
    const Clock::time_point end = Clock::now() + duration();
    int runs = 0;
};

TEST_F(Ring, LosesNoRecordAndBringsNoneBack)
{
    for (int own = 0; own < kVaults; ++own)
        start([this, own] { return synchroniseUntilTheEnd(own); });
    for (uint64_t editor = 0; editor < kEditors; ++editor)
        start([this, editor] { return editUntilTheEnd(100 + editor); });
    waitForAll();

    std::string names;
    for (int i = 0; i < kVaults; ++i)
        names += (i > 0 ? " " : "") + name(i);
    EXPECT_EQ(folder.listing(), names); // no lock, nothing left over

    Synchronisation quiet(clock, shortPause);
    for (int n = 0; n < 2 * kVaults; ++n)
        ASSERT_TRUE(synchronise(quiet, n, n + 1));
    EXPECT_EQ(runs, 2 * kVaults);

    const std::set<std::string> added = noted("added");
    const std::set<std::string> ended = noted("ended");
    alive.insert(added.begin(), added.end());
    for (const std::string& uuid : ended)
        alive.erase(uuid);
    for (int i = 0; i < kVaults; ++i)
        EXPECT_EQ(stateOf(folder.read(name(i))).UUIDs(), alive) << name(i);
    EXPECT_GT(added.size() + ended.size(), 20u);
    int allRuns = 0;
    std::istringstream lines(notes.read("runs"));
    for (int each = 0; lines >> each;)
        allRuns += each;
    EXPECT_GT(allRuns, kVaults);
    RecordProperty("runs", allRuns);
    RecordProperty("changes", static_cast<int>(added.size() + ended.size()));
}

} // namespace
