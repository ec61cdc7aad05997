#include "Journal.h"

#include "RunFixture.h"

#include <algorithm>
#include <set>

#include <sys/wait.h>
#include <unistd.h>

namespace {

class JournalTest : public RunFixture {
protected:
    JournalRun run(const std::string& id, const std::vector<std::string>& paths = { "/v/a.vlr" })
    {
        JournalRun result;
        result.id = id.empty() ? journal.newId() : id;
        result.command = "sync";
        for (const std::string& path : paths) {
            JournalFile file;
            file.path = path;
            result.files.push_back(file);
        }
        return result;
    }

    static std::string numbered(int number)
    {
        char id[64];
        std::snprintf(id, sizeof id, "2026-11-21T10:36:08.%06dZ-00000000", number);
        return id;
    }
};

TEST_F(JournalTest, KeepsEverythingOfARunEvenBytesThatAreNoText)
{
    JournalRun written = run("", { "/v/a\xFF\n.vlr", "/v/b.vlr" });
    written.batch = numbered(1);
    written.state = JournalRun::State::HalfDone;
    written.files[0] = { "/v/a\xFF\n.vlr", "I\xFE", "00", "11", "/v/a\xFF backup 1.vlr", 7, 8, 9, { "A", "\xC0" },
        { "B" }, { "C" }, { "D" } };
    journal.write(written);
    const std::vector<JournalRun> read = journal.runsOf("/v/a\xFF\n.vlr");
    ASSERT_EQ(read.size(), 1u);
    EXPECT_EQ(read[0].id, written.id);
    EXPECT_EQ(read[0].batch, written.batch);
    EXPECT_EQ(read[0].state, written.state);
    const JournalFile& file = read[0].files.at(0);
    EXPECT_EQ(file.identity, "I\xFE");
    EXPECT_EQ(file.hashBefore + file.hashAfter, "0011");
    EXPECT_EQ(file.backup, "/v/a\xFF backup 1.vlr");
    EXPECT_EQ(file.openDateAfter, 7u);
    EXPECT_EQ(file.deletionsAfter, 8u);
    EXPECT_EQ(file.recordsAfter, 9u);
    EXPECT_FALSE(read[0].files.at(1).recordsAfter);
    EXPECT_EQ(file.added, (std::vector<std::string> { "A", "\xC0" }));
    EXPECT_EQ(file.removed, std::vector<std::string> { "B" });
    EXPECT_EQ(file.doubled, std::vector<std::string> { "C" });
    EXPECT_EQ(file.selfDeleted, std::vector<std::string> { "D" });
    EXPECT_EQ(modeOf(journal.folder() + "/" + written.id + ".json"), 0600u);
    EXPECT_EQ(modeOf(journal.folder()), 0700u);
}

TEST_F(JournalTest, ShowsTheNewestFirstAndStopsWhenToldTo)
{
    journal.write(run(numbered(2), { "/v/a.vlr", "/v/b.vlr" }));
    journal.write(run(numbered(3), { "/v/b.vlr" }));
    journal.write(run(numbered(1), { "/v/a.vlr" }));
    EXPECT_EQ(journal.newestRun()->id, numbered(3));
    const std::vector<JournalRun> runs = journal.runsOf("/v/a.vlr");
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[0].id + runs[1].id, numbered(2) + numbered(1));
    EXPECT_EQ(journal.runsOf("/v/a.vlr", 1).size(), 1u);
    EXPECT_TRUE(journal.runsOf("/v/c.vlr").empty());
    journal.forget(numbered(2));
    EXPECT_EQ(journal.runsOf("/v/a.vlr").size(), 1u);
}

TEST_F(JournalTest, AClockThatWentBackKeepsTheOrder)
{
    for (const std::string time :
        { "2097-12-31T23:59:59.999998", "2097-12-31T23:59:59.999999", "9998-01-01T00:00:00.000000" }) {
        journal.write(run(time + "Z-ffffffff"));
        const std::string id = journal.newId();
        EXPECT_GT(id, time + "Z-ffffffff");
        EXPECT_EQ(id.size(), 36u);
    }
    journal.write(run("9999-12-31T23:59:59.999999Z-ffffffff")); // no clock's
    EXPECT_EQ(journal.newId().substr(0, 2), "20");
}

TEST_F(JournalTest, WhatIsDamagedIsLeftOut)
{
    journal.write(run(numbered(1)));
    const std::string good = state.read("journal/" + numbered(1) + ".json");
    std::string wrongVersion = good;
    wrongVersion.replace(wrongVersion.find("\"version\": 1"), 12, "\"version\": 2");
    std::string wrongState = good;
    wrongState.replace(wrongState.find("begun"), 5, "other");
    const std::string bad[] = { "", "{", "[]", "null", good.substr(0, good.size() / 2), wrongVersion, wrongState,
        good /* under another id */, R"({"version":1,"state":"done","id":7})", std::string(3, '\0') };
    int number = 2;
    for (const std::string& text : bad)
        state.write("journal/" + numbered(number++) + ".json", text);
    state.write("journal/notes.txt", "not ours");
    const std::string steering = "2026-11-21\x1b[2J:36:08.000001Z-00000000";
    std::string steeringEntry = good;
    steeringEntry.replace(steeringEntry.find(numbered(1)), 36, "2026-11-21\\u001b[2J:36:08.000001Z-00000000");
    state.write("journal/" + steering + ".json", steeringEntry);
    EXPECT_EQ(journal.runsOf("/v/a.vlr").size(), 1u);
    EXPECT_EQ(journal.newestRun()->id, numbered(1));
    for (std::size_t cut = 0; cut < good.size() - 3; ++cut) {
        state.write("journal/" + numbered(1) + ".json", good.substr(0, cut));
        EXPECT_FALSE(journal.newestRun()) << cut;
    }
}

TEST_F(JournalTest, PrunesRunsOfWhichEachFileHasNewerOnesEnough)
{
    journal.write(run(numbered(0), { "/v/rare.vlr", "/v/a.vlr" }));
    const std::string left = state.write("journal/.left.json.0123456789abcdef", "of a killed run");
    std::filesystem::last_write_time(left, std::filesystem::file_time_type::clock::now() - std::chrono::hours(2));
    state.write("journal/.young.json.0123456789abcdef", "of a living one");
    for (int i = 1; i < 1100; ++i)
        state.write("journal/" + numbered(i) + ".json", "");
    const std::string text = state.read("journal/" + numbered(0) + ".json");
    for (int i = 1; i < 1100; ++i) {
        std::string entry = text;
        entry.replace(entry.find(numbered(0)), 36, numbered(i));
        entry.replace(entry.find("/v/rare.vlr"), 11, "/v/b.vlr");
        state.write("journal/" + numbered(i) + ".json", entry);
    }
    for (int i = 1100; i < 1150; ++i) // one of these meets the number at which it is looked
        journal.write(run(numbered(i), { "/v/a.vlr", "/v/b.vlr" }));
    EXPECT_EQ(journal.runsOf("/v/rare.vlr").size(), 1u);
    EXPECT_GE(journal.runsOf("/v/b.vlr").size(), Journal::kRunsKept);
    EXPECT_LE(journal.runsOf("/v/b.vlr").size(), Journal::kRunsKept + 50);
    EXPECT_EQ(journal.runsOf("/v/b.vlr").front().id, numbered(1149));
    EXPECT_FALSE(std::filesystem::exists(left));
    EXPECT_EQ(state.read("journal/.young.json.0123456789abcdef"), "of a living one");
}

TEST_F(JournalTest, ManyWritersAtOnceLoseNothing)
{
    constexpr int kWriters = 16;
    constexpr int kRuns = 10;
    for (int writer = 0; writer < kWriters; ++writer) {
        if (::fork() == 0) {
            ::_exit(failureOf([&] {
                for (int i = 0; i < kRuns; ++i)
                    journal.write(run(""));
            }) == "0"
                    ? 0
                    : 1);
        }
    }
    int status = 0;
    while (::wait(&status) > 0)
        EXPECT_EQ(status, 0);
    EXPECT_EQ(journal.runsOf("/v/a.vlr").size(), static_cast<std::size_t>(kWriters * kRuns));
}

TEST_F(JournalTest, AFolderThatCantBeMadeIsToldInWords)
{
    Journal blocked(state.write("file", "") + "/journal");
    EXPECT_NE(failureOf([&] { blocked.write(run("")); }).find("3: journal "), std::string::npos);
    EXPECT_TRUE(blocked.runsOf("/v/a.vlr").empty());
}

} // namespace
