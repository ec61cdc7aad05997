#include "GoldenVaults.h"
#include "NSException.h"
#include "RunInMemory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

/// The result with its line number, which moves with the source, as a sign.
std::string withoutLine(std::string result)
{
    const std::size_t begin = result.find(" (") + 2;
    return result.replace(begin, result.find(':', begin) - begin, "#");
}

class Action : public ::testing::Test {
protected:
    std::map<std::string, std::string> golden = goldenVaults();
    StSilentLog log;
    RunInMemory action;
};

TEST_F(Action, StepsComeInTheirOrder)
{
    action.events.running = { "com.tarquen.Vellorin" };
    action.events.answers(true);
    EXPECT_EQ(action.run(golden["two-records"], golden["two-records"]), "<Success>");
    EXPECT_EQ(action.files.done, "read first; read second; write first; write second; ");
    EXPECT_EQ(action.heldAtTheEnd, 2u); // until the host's scope ends
    EXPECT_TRUE(action.locks.locks.empty());
    EXPECT_EQ(action.events.sentIDs(), "AABB");
    EXPECT_EQ(action.error.number, 0);
}

TEST_F(Action, InputIsCheckedBeforeAnybodyIsTold)
{
    std::filesystem::create_hard_link(action.first, action.folder.path("again"));
    const std::string again = action.folder.path("again");
    const std::string none = action.folder.path("none");
    using Paths = std::vector<std::string>;
    const struct {
        AMInput input;
        std::string result;
    } kCases[] = {
        { AMInput(), "<Don't understand input of type: NSNull\n>" },
        { AMInput(action.first), "<Don't understand input of type: NSString\n>" },
        { AMInput(Paths { action.first }),
            "<Expected only two files as input. Found 1.  It's possible one of the input files could not be found by "
            "Automator.>" },
        { AMInput(Paths { none, action.folder.path("none2") }), "<Can't find file: " + none + ">" },
        { AMInput(Paths { action.first, none }), "<Can't find file: " + none + ">" },
        { AMInput(Paths { action.first, again }), "<Can't synchronize a file with itself!>" },
    };
    action.events.running = { "com.tarquen.Vellorin" };
    action.files.contents = { { action.first, "" }, { again, "" } };
    for (const auto& c : kCases) {
        EXPECT_EQ(action.run(c.input), c.result);
        EXPECT_EQ(action.error.number, -1750);
        EXPECT_EQ(action.error.message, c.result);
    }
    EXPECT_EQ(action.files.done, "");
    EXPECT_EQ(action.events.sentIDs(), "");
    EXPECT_EQ(action.locks.asked, "");
}

TEST_F(Action, FailuresOfTheCoreBecomeTheirPlace)
{
    const struct {
        const char* first;
        const char* second;
        const char* result;
    } kCases[] = {
        { "no-vault", "two-records", "<VLR_Document_Version4.cpp:ReadVersion4FileContents (#:0x0)>" },
        { "no-bytes", "two-records", "<VLR_Stream.cpp:GetBytes (#:0x0)>" },
        { "two-records", "other-master", "<VLR_Synchronize.cpp:VerifyMastersCompatible (#:0x9)>" },
        { "two-records", "preferences-long", "<VLR_Stream.cpp:Check (#:0x0)>" },
        { "two-records", "record-chunk-cut", "<VLR_PasswordData_Encoding.cpp:WriteDataWithFish (#:0x0)>" },
    };
    for (const auto& c : kCases) {
        ASSERT_TRUE(golden.count(c.first) && golden.count(c.second));
        const std::string result = action.run(golden[c.first], golden[c.second]);
        EXPECT_EQ(withoutLine(result), c.result);
        EXPECT_EQ(action.error.message, result);
        EXPECT_EQ(action.files.contents[action.first], golden[c.first]);
        EXPECT_EQ(action.files.contents[action.second], golden[c.second]);
        EXPECT_TRUE(action.locks.locks.empty());
    }
}

TEST_F(Action, AFileThatCantBeReadHasNoClass)
{
    action.files.readable = false;
    EXPECT_EQ(action.run("", ""), "<(null) is not kind of NSData (SysToVLR)>");
}

TEST_F(Action, AWriteThatFailsIsTheHostsToSee)
{
    action.files.writable = false;
    EXPECT_EQ(action.run(golden["two-records"], golden["two-records"]), "<Success>");
    EXPECT_EQ(action.files.contents[action.first], golden["two-records"]);
}

TEST_F(Action, AFileThatIsGoneAfterTheWriteIsAFailure)
{
    action.files.contents = { { action.first, golden["two-records"] }, { action.second, golden["two-records"] } };
    action.locks.version = 0x100700;
    action.clock.step = 0;
    const std::string second = action.second;
    action.events.running = { "com.tarquen.Vellorin" };
    action.events.answers(false);
    struct Deleting final : NSFileManager {
        explicit Deleting(FilesInMemory& files)
            : files(files)
        {
        }
        bool fileExistsAtPath(const std::string& path) override { return files.fileExistsAtPath(path); }
        std::optional<NSData> dataWithContentsOfFile(const std::string& path) override
        {
            return files.dataWithContentsOfFile(path);
        }
        bool writeToFile(const NSData&, const std::string& path, std::string*) override
        {
            std::filesystem::remove(path);
            return false;
        }
        FilesInMemory& files;
    } deleting(action.files);
    NSAutoreleasePool pool;
    AMErrorDictionary error;
    SynchronizeFiles synchronizer({ { action.events, action.locks, deleting, action.clock }, action.alerts, [] {} });
    EXPECT_EQ(synchronizer.runWithInput(AMInput(std::vector<std::string> { action.first, second }), nullptr, error),
        "<Can't find file., method: FSRefWithPath, file: ExtraContainerUtilities, line: 1202>");
    EXPECT_EQ(error.number, SynchronizeFiles::kScriptingSystemError);
}

TEST_F(Action, WhatIsNoFailureOfTheProductPassesOut)
{
    struct Foreign { };
    const SynchronizeFilesHost host { { action.events, action.locks, action.files, action.clock }, action.alerts,
        [] { throw Foreign(); } };
    action.files.contents = { { action.first, "" }, { action.second, "" } };
    action.locks.locks.insert(action.folder.path(".first")); // another program's, so that there is a wait
    NSAutoreleasePool pool;
    AMErrorDictionary error;
    const AMInput input(std::vector<std::string> { action.first, action.second });
    EXPECT_THROW(SynchronizeFiles(host).runWithInput(input, nullptr, error), Foreign);
    EXPECT_EQ(error.message, "");
}

TEST_F(Action, TheAlertShowsTheReason)
{
    const SynchronizeFilesHost host { { action.events, action.locks, action.files, action.clock }, action.alerts,
        [] {} };
    SynchronizeFiles(host).fileToFileSyncError(NSException("9", "why"));
    ASSERT_EQ(action.alerts.shown.size(), 1u);
    EXPECT_EQ(action.alerts.shown[0].messageText, "Synchronization Failed!");
    EXPECT_EQ(action.alerts.shown[0].defaultButton, "OK");
    EXPECT_EQ(action.alerts.shown[0].alternateButton + action.alerts.shown[0].otherButton, "");
    EXPECT_EQ(action.alerts.shown[0].informativeText, "why");
}

} // namespace
