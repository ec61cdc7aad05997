#include "LockHolder.h"
#include "NSDistributedLock.h"
#include "ScratchFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <filesystem>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class LockHolderTest : public ::testing::Test {
protected:
    void writeNote(const std::string& note) const
    {
        std::filesystem::create_directory(folder.path(".a"));
        folder.write(".a/holder", note);
    }

    LockHolder holder() const
    {
        const std::optional<LockHolder> found = holderOfLock(folder.path(".a"));
        EXPECT_TRUE(found);
        return found.value_or(LockHolder {});
    }

    /// A note of this process, with one line put in another's place.
    static std::string noteWith(const std::string& key, const std::string& line)
    {
        std::string note = noteOfThisProcess();
        const std::size_t begin = note.find(key + ": ");
        return note.replace(begin, note.find('\n', begin) - begin, line);
    }

    ScratchFolder folder;
};

TEST_F(LockHolderTest, ReadsWhatATakenLockSays)
{
    errno = 0;
    EXPECT_FALSE(holderOfLock(folder.path(".a")));
    EXPECT_EQ(errno, ENOENT);
    LinuxLockSystem system;
    const auto lock = system.lockWithPath(folder.path(".a"));
    const std::time_t before = std::time(nullptr);
    ASSERT_TRUE(lock->tryLock());
    const LockHolder found = holder();
    EXPECT_TRUE(found.hasNote && found.isPlainLock && found.isInUse);
    EXPECT_EQ(found.process, ::getpid());
    EXPECT_EQ(found.program, "platform_tests");
    EXPECT_NEAR(static_cast<double>(found.since), static_cast<double>(before), 2);
    EXPECT_GT(found.started, before - 3600);
    EXPECT_EQ(stateOf(found), HolderState::Lives);
    lock->unlock();
}

TEST_F(LockHolderTest, KnowsAHolderThatWasKilled)
{
    const pid_t child = ::fork();
    if (child == 0) {
        LinuxLockSystem system;
        const auto lock = system.lockWithPath(folder.path(".a"));
        ::_exit(lock->tryLock() ? 0 : 1);
    }
    siginfo_t end {};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(holder().process, child);
    EXPECT_EQ(stateOf(holder()), HolderState::Gone); // still a zombie
    ::waitpid(child, nullptr, 0);
    EXPECT_EQ(stateOf(holder()), HolderState::Gone);
}

TEST_F(LockHolderTest, ComparesNumberStartAndHost)
{
    const struct {
        const char* what;
        std::string note;
        HolderState state;
    } rows[] = {
        { "this process", noteOfThisProcess(), HolderState::Lives },
        { "without a start", noteWith("started", "x: "), HolderState::Lives },
        { "a start that is none", noteWith("started", "started: today"), HolderState::Lives },
        { "a start at a 60th second", noteWith("started", "started: 9999-12-31T23:59:60Z"), HolderState::Lives },
        { "another process had its number", noteWith("started", "started: 2001-02-03T04:05:06Z"), HolderState::Gone },
        { "a number that nobody has", noteWith("process", "process: 2147483647"), HolderState::Gone },
        { "another host", noteWith("host", "host: elsewhere"), HolderState::OnAnotherHost },
        { "no host", noteWith("host", "x: "), HolderState::OnAnotherHost },
        { "all processes of a group", noteWith("process", "process: -1"), HolderState::Unknown },
        { "process 0", noteWith("process", "process: 0"), HolderState::Unknown },
        { "no number", noteWith("process", "process: 12x"), HolderState::Unknown },
        { "a note that was not finished", "host: ", HolderState::Unknown },
        { "an empty note", "", HolderState::Unknown },
        { "other bytes", std::string(100000, '\xFF'), HolderState::Unknown },
    };
    for (const auto& row : rows) {
        writeNote(row.note);
        EXPECT_EQ(stateOf(holder()), row.state) << row.what;
        EXPECT_TRUE(holder().isPlainLock) << row.what;
        EXPECT_GT(holder().since, 0) << row.what;
    }
}

TEST_F(LockHolderTest, TellsLocksFromOtherThings)
{
    const auto isPlainLock = [&](const char* name) { return holderOfLock(folder.path(name)).value().isPlainLock; };
    std::filesystem::create_directories(folder.path(".config/settings"));
    EXPECT_FALSE(isPlainLock(".config"));
    folder.write(".empty", "");
    EXPECT_TRUE(isPlainLock(".empty"));
    folder.write(".bashrc", "x");
    EXPECT_FALSE(isPlainLock(".bashrc"));
    std::filesystem::create_symlink(folder.path(".empty"), folder.path(".link"));
    EXPECT_FALSE(isPlainLock(".link"));
    std::filesystem::create_directories(folder.path(".folder/holder"));
    EXPECT_FALSE(isPlainLock(".folder"));
    std::filesystem::create_directory(folder.path(".linked"));
    std::filesystem::create_symlink(folder.path(".bashrc"), folder.path(".linked/holder"));
    EXPECT_FALSE(isPlainLock(".linked"));
}

TEST_F(LockHolderTest, WaitsForNoNote)
{
    std::filesystem::create_directory(folder.path(".a"));
    ASSERT_EQ(::mkfifo(folder.path(".a/holder").c_str(), 0600), 0);
    EXPECT_EQ(stateOf(holder()), HolderState::Unknown);
}

} // namespace
