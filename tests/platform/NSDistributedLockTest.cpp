#include "NSDistributedLock.h"
#include "FileSystemCalls.h"
#include "ScratchFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

namespace {

std::function<void()> gRightAfterMkdir; // called once

/// The system's calls, with a place for what other programs do just then.
class CallsWithOthers final : public FileSystemCalls {
public:
    int makeFolderAt(int folder, const std::string& name, mode_t mode) override
    {
        const int result = FileSystemCalls::makeFolderAt(folder, name, mode);
        if (result == 0 && gRightAfterMkdir)
            std::exchange(gRightAfterMkdir, nullptr)();
        return result;
    }
    int statAt(int folder, const std::string& name, struct stat& status, int flags) override
    {
        if (!canLook)
            errno = EIO;
        return canLook ? FileSystemCalls::statAt(folder, name, status, flags) : -1;
    }

    bool canLook = true;
};

class LinuxLock : public ::testing::Test {
protected:
    LinuxLock()
        : before(setFileSystemCalls(calls))
    {
    }
    ~LinuxLock() override { setFileSystemCalls(before); }

    std::unique_ptr<NSDistributedLock> lock() { return system.lockWithPath(folder.path(".a")); }

    ScratchFolder folder;
    LinuxLockSystem system;
    CallsWithOthers calls;
    FileSystemCalls& before;
};

TEST_F(LinuxLock, ExcludesAnyOtherAndComesFreeAgain)
{
    const auto first = lock();
    const auto second = lock();
    ASSERT_TRUE(first->tryLock());
    EXPECT_TRUE(std::filesystem::is_directory(folder.path(".a")));
    EXPECT_FALSE(second->tryLock());
    EXPECT_FALSE(first->tryLock());
    second->unlock(); // holds nothing, removes nothing
    EXPECT_EQ(folder.listing(), ".a");
    first->unlock();
    EXPECT_EQ(folder.listing(), "");
    EXPECT_TRUE(second->tryLock());
    second->unlock();
}

TEST_F(LinuxLock, SurvivesItsHolderAndTellsWhoThatWas)
{
    {
        ASSERT_TRUE(lock()->tryLock());
    }
    EXPECT_EQ(folder.listing(), ".a");
    const std::string note = folder.read(".a/holder");
    EXPECT_NE(note.find("\nprocess: " + std::to_string(::getpid()) + "\nstarted: 20"), std::string::npos) << note;
    EXPECT_NE(note.find("host: "), std::string::npos);
    EXPECT_NE(note.find("\nprogram: "), std::string::npos);
    lock()->breakLock();
    EXPECT_EQ(folder.listing(), "");
}

TEST_F(LinuxLock, UnlockLeavesALockThatSomebodyElseTookMeanwhile)
{
    const auto first = lock();
    const auto second = lock();
    ASSERT_TRUE(first->tryLock());
    second->breakLock();
    ASSERT_TRUE(second->tryLock());
    first->unlock();
    EXPECT_EQ(folder.listing(), ".a");
    second->unlock();
    EXPECT_EQ(folder.listing(), "");
}

TEST_F(LinuxLock, ALockBrokenAndTakenByAnotherAsItIsMadeIsTheOthers)
{
    const auto first = lock();
    const auto second = lock();
    gRightAfterMkdir = [&] {
        second->breakLock();
        EXPECT_TRUE(second->tryLock());
    };
    EXPECT_FALSE(first->tryLock());
    first->unlock();
    EXPECT_EQ(folder.listing(), ".a");
    second->unlock();
    EXPECT_EQ(folder.listing(), "");

    gRightAfterMkdir = [&] { second->breakLock(); };
    EXPECT_FALSE(first->tryLock());
    EXPECT_EQ(folder.listing(), "");
    EXPECT_TRUE(first->tryLock());
    first->unlock();
}

TEST_F(LinuxLock, ALockThatCantBeHeldIsNotLeftBehind)
{
    rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none { 0, before.rlim_max };
    gRightAfterMkdir = [&] { ::setrlimit(RLIMIT_NOFILE, &none); };
    const bool isHeld = lock()->tryLock();
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_FALSE(isHeld);
    EXPECT_EQ(folder.listing(), "");

    calls.canLook = false; // nobody knows whether the folder that stands there is the one that was made
    EXPECT_FALSE(lock()->tryLock());
    EXPECT_EQ(folder.listing(), "");
}

TEST_F(LinuxLock, BreaksWhateverStandsThere)
{
    folder.write(".a", "another program's lock");
    EXPECT_FALSE(lock()->tryLock());
    lock()->breakLock();
    EXPECT_EQ(folder.listing(), "");
    lock()->breakLock(); // nothing there
}

TEST_F(LinuxLock, CantBeMadeLooksLikeHeld)
{
    EXPECT_FALSE(system.lockWithPath(folder.path("none/.a"))->tryLock());
    EXPECT_FALSE(system.lockWithPath(folder.path("." + std::string(255, 'n')))->tryLock());
}

TEST_F(LinuxLock, OnlyOneOfManyProcessesHoldsIt)
{
    const std::string counter = folder.write("counter", "0");
    std::vector<pid_t> children;
    for (int child = 0; child < 8; ++child) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            for (int round = 0; round < 25;) {
                const auto mine = lock();
                if (!mine->tryLock())
                    continue;
                const int value = std::stoi(folder.read("counter")); // lost updates would show
                folder.write("counter", std::to_string(value + 1));
                mine->unlock();
                ++round;
            }
            ::_exit(0);
        }
        children.push_back(pid);
    }
    for (const pid_t pid : children)
        ::waitpid(pid, nullptr, 0);
    EXPECT_EQ(folder.read("counter"), "200");
    EXPECT_EQ(folder.listing(), "counter");
}

} // namespace
