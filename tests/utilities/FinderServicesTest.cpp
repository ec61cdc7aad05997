#include "AppleEvent.h"
#include "Bus.h"
#include "ExtraStringUtilities.h"
#include "PrivateBus.h"
#include "ScratchFolder.h"
#include "UtilityStandIns.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace fs = std::filesystem;
using namespace ExtraStringUtilities;

namespace {

/// A desktop that notes what it is asked to do.
class FinderStandIn final : public FinderServices {
public:
    bool hasTrash() override { return isThere; }
    bool isRunning() override { return isThere; }
    int16_t moveToTrash(const std::string& path) override
    {
        asked += "trash " + path + "\n";
        if (raises)
            throw std::runtime_error("failed");
        return error;
    }
    int16_t reveal(const std::string& path) override
    {
        asked += "reveal " + path + "\n";
        return error;
    }

    bool isThere = true;
    bool raises = false;
    int16_t error = noErr;
    std::string asked;
};

std::string reasonOfReveal(const std::string& path, FinderServices& finder)
{
    return raisedBy([&] { revealInFinder(path, finder); });
}

TEST(Trash, EveryFailureIsFalse)
{
    const ScratchFolder folder;
    const std::string file = folder.write("a", "");
    FinderStandIn finder;
    EXPECT_TRUE(movePathToTrash(folder.path("none"), finder));
    EXPECT_TRUE(movePathToTrash("~", finder)); // not expanded
    EXPECT_EQ(finder.asked, "");
    EXPECT_TRUE(movePathToTrash(file, finder));
    EXPECT_EQ(finder.asked, "trash " + file + "\n");
    finder.error = procNotFound;
    EXPECT_FALSE(movePathToTrash(file, finder));
    finder.error = noErr;
    finder.raises = true;
    EXPECT_FALSE(movePathToTrash(file, finder));
    finder.raises = false;
    finder.isThere = false;
    EXPECT_FALSE(movePathToTrash(file, finder));
}

TEST(Reveal, FailuresRaise)
{
    const ScratchFolder folder;
    const std::string file = folder.write("a", "");
    FinderStandIn finder;
    EXPECT_EQ(reasonOfReveal(file, finder), "");
    EXPECT_EQ(finder.asked, "reveal " + file + "\n");
    EXPECT_EQ(reasonOfReveal(folder.path("none"), finder), inconsistency("Can't find file.", "FSRefWithPath", 1202));
    finder.error = errAETimeout;
    EXPECT_EQ(reasonOfReveal(file, finder),
        inconsistency("Could not send AppleEvent to reveal item in finder (-1712)", "revealInFinder", 1337));
    finder.isThere = false;
    EXPECT_EQ(reasonOfReveal(folder.path("none"), finder),
        inconsistency("Can't find Finder process.", "revealInFinder", 1310));
}

// The Linux side

/// The desktop's library asks for its folders once in a process, so each trash has a process of its own. The folders
/// are on the file's own file system, as a trash has to be.
bool withTrashIn(const ScratchFolder& home, const std::function<bool(FinderServices&)>& work)
{
    SecondProcess process([&](const std::function<void()>& isReady) {
        ::setenv("HOME", home.path("").c_str(), 1);
        ::setenv("XDG_DATA_HOME", home.path("data").c_str(), 1);
        isReady();
        LinuxFinderServices finder;
        return work(finder) ? 0 : 1;
    });
    return process.wait() == 0;
}

TEST(LinuxFinderServices, MovesToTheTrashWhatCanBeTakenBack)
{
    const ScratchFolder home;
    const ScratchFolder folder;
    const std::string file = folder.write("a 100%", "content");
    fs::create_directory(folder.path("d"));
    folder.write("d/inner", "");
    fs::create_symlink("kept", folder.path("link"));
    folder.write("kept", "");
    EXPECT_TRUE(withTrashIn(home, [&](FinderServices& finder) {
        return movePathToTrash(file, finder) && movePathToTrash(folder.path("d"), finder)
            && movePathToTrash(folder.path("link"), finder);
    }));
    EXPECT_EQ(folder.listing(), "kept");
    EXPECT_EQ(home.read("data/Trash/files/a 100%"), "content");
    EXPECT_TRUE(fs::exists(home.path("data/Trash/files/d/inner")));
    EXPECT_TRUE(fs::is_symlink(home.path("data/Trash/files/link")));
    EXPECT_NE(home.read("data/Trash/info/a 100%.trashinfo").find(folder.path("a%20100%25")), std::string::npos);
}

TEST(LinuxFinderServices, WithoutATrashTheFileStays)
{
    const ScratchFolder home;
    const ScratchFolder folder;
    const std::string file = folder.write("a", "content");
    home.write("data", "in the way");
    EXPECT_FALSE(withTrashIn(home, [&](FinderServices& finder) { return movePathToTrash(file, finder); }));
    EXPECT_EQ(folder.read("a"), "content");
}

constexpr char kFileManager[] = "org.freedesktop.FileManager1";
constexpr std::chrono::milliseconds kWait(2000);

/// A file manager that writes down what it is to show, and refuses what has "no" in it.
struct FileManagerProcess {
    static int showItems(sd_bus_message* message, void* context, sd_bus_error*)
    {
        const auto& folder = *static_cast<const ScratchFolder*>(context);
        const char* url = nullptr;
        const char* startupID = nullptr;
        if (sd_bus_message_read(message, "ass", 1, &url, &startupID) < 0)
            return sd_bus_reply_method_errorf(message, "org.freedesktop.DBus.Error.InvalidArgs", "one item");
        if (std::string(url).ends_with("no"))
            return sd_bus_reply_method_errorf(message, "org.freedesktop.DBus.Error.Failed", "no");
        folder.write("shown", std::string(url) + "|" + startupID);
        return sd_bus_reply_method_return(message, "");
    }

    static int run(const ScratchFolder& folder, const std::function<void()>& isReady)
    {
        static constexpr sd_bus_vtable kMethods[] = {
            SD_BUS_VTABLE_START(0),
            SD_BUS_METHOD("ShowItems", "ass", "", showItems, SD_BUS_VTABLE_UNPRIVILEGED),
            SD_BUS_VTABLE_END,
        };
        Bus bus(kWait);
        void* const context = const_cast<ScratchFolder*>(&folder);
        if (!bus.serve("/org/freedesktop/FileManager1", kFileManager, kMethods, context) || !bus.takeName(kFileManager))
            return 1;
        isReady();
        while (bus.handleIncoming(kWait)) { }
        return 0;
    }
};

TEST(LinuxFinderServices, AsksTheFileManagerToShowAFile)
{
    const PrivateBus bus;
    ASSERT_TRUE(bus.isRunning());
    const ScratchFolder folder;
    const SecondProcess fileManager(
        [&](const std::function<void()>& isReady) { return FileManagerProcess::run(folder, isReady); });
    LinuxFinderServices finder({ kWait, kWait });
    EXPECT_EQ(reasonOfReveal(folder.write("a b", ""), finder), "");
    EXPECT_EQ(folder.read("shown"), "file://" + folder.path("a%20b") + "|");
    EXPECT_EQ(reasonOfReveal(folder.write("no", ""), finder),
        inconsistency("Could not send AppleEvent to reveal item in finder (-1708)", "revealInFinder", 1337));
}

TEST(LinuxFinderServices, AFileManagerThatCanBeStartedIsThere)
{
    const ScratchFolder data;
    fs::create_directories(data.path("dbus-1/services"));
    const std::string started = data.path("started");
    data.write("dbus-1/services/files.service",
        std::string("[D-BUS Service]\nName=") + kFileManager + "\nExec=/bin/mkdir " + started + " " + started + "\n");
    ::setenv("XDG_DATA_HOME", data.path("").c_str(), 1);
    const PrivateBus bus;
    ::unsetenv("XDG_DATA_HOME");
    LinuxFinderServices finder({ kWait, kWait });
    EXPECT_TRUE(finder.isRunning());
    EXPECT_FALSE(fs::exists(started)); // asking starts nothing
    EXPECT_EQ(finder.reveal("/"), errAEEventNotHandled); // this one ends at once, as it can't make a folder twice
    EXPECT_TRUE(fs::exists(started));
}

TEST(LinuxFinderServices, WithoutABusNobodyShowsFiles)
{
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    LinuxFinderServices finder;
    EXPECT_FALSE(finder.isRunning());
    EXPECT_EQ(finder.reveal("/"), procNotFound);
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

} // namespace
