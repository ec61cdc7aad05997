#include "GoldenVaults.h"
#include "NSException.h"
#include "NSLog.h"
#include "RunInMemory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

namespace {

/// The result with its line number, which moves with the source, as a sign.
std::string withoutLine(std::string result)
{
    const std::size_t begin = result.find(" (") + 2;
    return result.replace(begin, result.find(':', begin) - begin, "#");
}

class Action : public ::testing::Test {
protected:
    Action()
        : before(setLogSink([](std::string_view) {}))
    {
    }
    ~Action() override { setLogSink(before); }

    std::map<std::string, std::string> golden = goldenVaults();
    RunInMemory action;

private:
    const NSLogSink before;
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
    struct Deleting final : FilesInMemory {
        bool writeToFile(const NSData&, const std::string& path, std::string*) override
        {
            std::filesystem::remove(path);
            return false;
        }
    } deleting;
    deleting.contents = { { action.first, golden["two-records"] }, { action.second, golden["two-records"] } };
    NSAutoreleasePool pool;
    SynchronizeFiles synchronizer({ { action.events, action.locks, deleting, action.clock }, action.alerts, [] {} });
    EXPECT_EQ(synchronizer.runWithInput(action.bothFiles(), nullptr, action.error),
        "<Can't find file., method: FSRefWithPath, file: ExtraContainerUtilities, line: 1202>");
    EXPECT_EQ(action.error.number, SynchronizeFiles::kScriptingSystemError);
}

TEST_F(Action, WhatIsNoFailureOfTheProductPassesOut)
{
    struct Foreign { };
    const SynchronizeFilesHost host { { action.events, action.locks, action.files, action.clock }, action.alerts,
        [] { throw Foreign(); } };
    action.files.contents = { { action.first, "" }, { action.second, "" } };
    action.locks.locks.insert(action.folder.path(".first")); // another program's, so that there is a wait
    NSAutoreleasePool pool;
    EXPECT_THROW(SynchronizeFiles(host).runWithInput(action.bothFiles(), nullptr, action.error), Foreign);
    EXPECT_EQ(action.error.message, "");
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

/// Counts that promise more than the file has may not cost memory; what is many times in it may not cost its square.
TEST_F(Action, HostileVaultsEndSoon)
{
    std::string many = golden["empty"];
    for (int i = 0; i < 20000; ++i)
        many += "Pdat\xFF\xFF\xFF\xFF";
    action.run(many, golden["two-records"]);
    EXPECT_NE(action.error.message, "");

    std::string uuid = "e"; // and combining marks in the worst order
    for (int i = 0; i < 100000; ++i)
        uuid += i % 2 == 0 ? "\xCC\x81" : "\xCC\xA3";
    const auto count = [](std::size_t n) {
        return std::string { static_cast<char>(n >> 24), static_cast<char>(n >> 16), static_cast<char>(n >> 8),
            static_cast<char>(n) };
    };
    const std::string block = count(4) + count(uuid.size()) + uuid + std::string(14, '\0') + count(8) + "12345678";
    const std::string marks = golden["empty"] + "Pdat" + count(block.size()) + block;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(action.run(marks, marks), "<Success>");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

} // namespace
