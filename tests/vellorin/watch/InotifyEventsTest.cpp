#include "FileEvents.h"
#include "ScratchFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

#include <sys/resource.h>

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::milliseconds kLong(5000); // ends as soon as something happens
constexpr std::chrono::milliseconds kShort(20);

class InotifyEventsTest : public testing::Test {
protected:
    InotifyEventsTest()
    {
        fs::create_directories(folder.path("real"));
        folder.write("a", "one");
        folder.write("real/b", "one");
        fs::create_symlink("real/b", folder.path("b"));
    }

    /// True if the watch hears of it.
    bool isTold(const std::function<void()>& happening)
    {
        EXPECT_TRUE(events.follow().empty());
        while (events.wait(kShort)) { }
        happening();
        return events.wait(kLong);
    }

    /// The other way round, without waiting long.
    bool isPassedOver(const std::function<void()>& happening)
    {
        events.follow();
        while (events.wait(kShort)) { }
        happening();
        return !events.wait(kShort);
    }

    void replace(const std::string& name) const
    {
        folder.write("new", "two");
        fs::rename(folder.path("new"), folder.path(name));
    }

    const ScratchFolder folder;
    InotifyEvents events { { folder.path("a"), folder.path("b") } };
};

TEST_F(InotifyEventsTest, TellsOfEachWayToChangeAFile)
{
    EXPECT_TRUE(isTold([&] { std::ofstream(folder.path("a"), std::ios::app) << "more"; }));
    EXPECT_TRUE(isTold([&] { replace("a"); }));
    EXPECT_TRUE(isTold([&] { replace("real/b"); })); // behind a link
    EXPECT_TRUE(isTold([&] { fs::rename(folder.path("a"), folder.path("aside")); }));
    EXPECT_TRUE(isTold([&] { folder.write("a", "new"); }));
    EXPECT_TRUE(isTold([&] { fs::remove(folder.path("a")); }));
    EXPECT_TRUE(isTold([&] { fs::remove(folder.path("b")); })); // the link itself
}

TEST_F(InotifyEventsTest, PassesOverOtherFiles)
{
    EXPECT_TRUE(isPassedOver([&] { folder.write("other", "text"); }));
    EXPECT_TRUE(isPassedOver([&] { folder.read("a"); }));
}

TEST_F(InotifyEventsTest, FollowsFoldersThatGoAndComeBack)
{
    EXPECT_TRUE(isTold([&] { fs::rename(folder.path("real"), folder.path("gone")); }));
    EXPECT_TRUE(isPassedOver([&] { folder.write("gone/b", "there no more"); }));
    EXPECT_TRUE(isTold([&] { fs::rename(folder.path("gone"), folder.path("real")); }));
    EXPECT_TRUE(isTold([&] { folder.write("real/b", "back"); }));
    EXPECT_TRUE(isTold([&] { fs::remove_all(folder.path("real")); }));
    EXPECT_TRUE(isTold([&] { fs::create_directory(folder.path("real")); }));
    EXPECT_TRUE(isTold([&] { folder.write("real/b", "made anew"); }));
}

TEST_F(InotifyEventsTest, FollowsALinkThatLeadsElsewhere)
{
    fs::create_directory(folder.path("other"));
    EXPECT_TRUE(isTold([&] {
        fs::create_symlink("other/c", folder.path("new"));
        fs::rename(folder.path("new"), folder.path("b"));
    }));
    EXPECT_TRUE(isTold([&] { folder.write("other/c", "text"); }));
    EXPECT_TRUE(isPassedOver([&] { folder.write("real/b", "text"); }));
}

TEST_F(InotifyEventsTest, FollowsALinkUpwardsFromALinkedFolder)
{
    fs::create_directory(folder.path("real/deep"));
    fs::create_symlink("../c", folder.path("real/deep/c")); // real/c, whatever path leads here
    fs::create_directory_symlink("real/deep", folder.path("deep"));
    fs::remove(folder.path("b"));
    fs::create_symlink("deep/c", folder.path("b"));
    EXPECT_TRUE(isTold([&] { replace("real/c"); }));
}

TEST_F(InotifyEventsTest, TellsWhenEventsWereLost)
{
    std::size_t most = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> most;
    if (most == 0 || most > 100'000)
        GTEST_SKIP() << "the queue takes " << most << " events";
    EXPECT_TRUE(isTold([&] {
        for (std::size_t i = 0; i <= most / 2; ++i) { // two events each; equal ones in a row would count once
            fs::rename(folder.path("real/b"), folder.path("real/x"));
            fs::rename(folder.path("real/x"), folder.path("real/b"));
        }
    }));
    EXPECT_TRUE(isPassedOver([&] {
        for (std::size_t i = 0; i < 10; ++i)
            folder.write("real/other", "text");
    }));
    EXPECT_TRUE(isTold([&] {
        for (std::size_t i = 0; i <= most; ++i) { // the file's own event is among those that are lost
            folder.write("real/x" + std::to_string(i % 2), "");
        }
        replace("a");
    }));
}

TEST_F(InotifyEventsTest, WithoutTheKernelsTableItSaysSoAndTriesAgain)
{
    rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 3;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const std::map<std::string, std::string> unwatched = events.follow();
    const bool isTold = events.wait(kShort); // waits, and is no busy loop
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_FALSE(isTold);
    ASSERT_EQ(unwatched.size(), 2u);
    EXPECT_EQ(unwatched.begin()->second, std::strerror(EMFILE));
    EXPECT_TRUE(events.follow().empty());
}

} // namespace
