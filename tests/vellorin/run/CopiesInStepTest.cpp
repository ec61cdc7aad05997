#include "CopiesInStep.h"

#include "RunFixture.h"
#include "SyncPlan.h"

namespace {

class CopiesInStepTest : public RunFixture {
protected:
    std::vector<std::string> written(const std::vector<SketchedVault>& vaults)
    {
        std::vector<std::string> paths;
        for (std::size_t i = 0; i < vaults.size(); ++i)
            paths.push_back(folder.write(std::to_string(i), vaults[i].bytes()));
        return paths;
    }

    void expectEqual(const std::vector<std::string>& paths, const std::set<std::string>& uuids)
    {
        for (std::size_t i = 0; i < paths.size(); ++i)
            EXPECT_EQ(stateOf(folder.read(std::to_string(i))).UUIDs(), uuids) << i;
    }
};

SketchedVault holding(const std::vector<std::string>& uuids, const std::vector<std::string>& deletions = {})
{
    SketchedVault vault;
    for (const std::string& uuid : uuids)
        vault.records.push_back({ uuid });
    vault.deletions = deletions;
    return vault;
}

struct CopiesCase {
    const char* name;
    std::vector<SketchedVault> copies;
    std::size_t runs;
    std::set<std::string> uuids;
};

const CopiesCase kCases[] = {
    { "all in step", { holding({ "c" }), holding({ "c" }), holding({ "c" }) }, 0, { "c" } },
    { "three that know different things", { holding({ "c", "1" }), holding({ "c", "2" }), holding({ "c", "3" }) }, 3,
        { "c", "1", "2", "3" } },
    { "three, the last has nothing new", { holding({ "c", "1" }), holding({ "c", "2" }), holding({ "c" }) }, 2,
        { "c", "1", "2" } },
    { "four that know different things",
        { holding({ "c", "1" }), holding({ "c", "2" }), holding({ "c", "3" }), holding({ "c", "4" }) }, 4,
        { "c", "1", "2", "3", "4" } },
    { "six that know different things",
        { holding({ "c", "1" }), holding({ "c", "2" }), holding({ "c", "3" }), holding({ "c", "4" }),
            holding({ "c", "5" }), holding({ "c", "6" }) },
        8, { "c", "1", "2", "3", "4", "5", "6" } },
    { "one holds all", { holding({ "c" }), holding({ "c", "2" }), holding({ "c", "2", "3" }), holding({ "c", "3" }) },
        3, { "c", "2", "3" } },
    { "one of five differs",
        { holding({ "c" }), holding({ "c" }), holding({ "c" }), holding({ "c" }), holding({ "c", "5" }) }, 4,
        { "c", "5" } },
    { "deletions go everywhere", { holding({ "c", "x" }), holding({ "c", "x" }), holding({ "c" }, { "x" }) }, 2,
        { "c" } },
};

TEST_F(CopiesInStepTest, AsFewRunsAsItTakes)
{
    for (const CopiesCase& c : kCases) {
        SCOPED_TRACE(c.name);
        const std::vector<std::string> paths = written(c.copies);
        options.backups = false;
        const CopiesReport report = synchronizeCopies(paths, options, journal, console);
        EXPECT_EQ(report.runs.size(), c.runs);
        EXPECT_TRUE(report.equal);
        expectEqual(paths, c.uuids);
        std::filesystem::remove_all(journal.folder());
    }
}

TEST_F(CopiesInStepTest, ADryRunTellsTheRunsAndMakesNone)
{
    const std::vector<std::string> paths = written(kCases[3].copies);
    options.dryRun = true;
    const CopiesReport report = synchronizeCopies(paths, options, journal, console);
    EXPECT_EQ(report.runs.size(), 4u);
    EXPECT_EQ(report.status(), kDone);
    for (std::size_t i = 0; i < paths.size(); ++i)
        EXPECT_EQ(folder.read(std::to_string(i)), kCases[3].copies[i].bytes());
}

TEST_F(CopiesInStepTest, EndsAlsoWhereOneRecordHasAnotherCategoryInEachCopy)
{
    std::vector<SketchedVault> copies;
    for (const std::string category : { "a", "b", "c", "d" })
        copies.push_back({ { { "1", category } } });
    const CopiesReport report = synchronizeCopies(written(copies), options, journal, console);
    EXPECT_LE(report.runs.size(), 4u);
    EXPECT_EQ(report.status(), kLookAtIt);
}

TEST_F(CopiesInStepTest, AGuardRefusesBeforeTheFirstRun)
{
    std::vector<SketchedVault> copies { holding({ "c", "1" }), holding({ "c", "2" }), holding({ "q" }) };
    copies[2].identity = "J";
    const std::vector<std::string> paths = written(copies);
    EXPECT_EQ(
        failureOf([&] { synchronizeCopies(paths, options, journal, console); }).substr(0, 21), "2: refused (unrelated");
    for (std::size_t i = 0; i < paths.size(); ++i)
        EXPECT_EQ(folder.read(std::to_string(i)), copies[i].bytes());
}

TEST_F(CopiesInStepTest, AFailureBehindARunSaysWhatStands)
{
    const std::vector<std::string> paths = written(kCases[1].copies);
    const auto lock = partners.locks.lockWithPath(folder.path(".2"));
    ASSERT_TRUE(lock->tryLock());
    try {
        synchronizeCopies(paths, options, journal, console);
        FAIL() << "a locked copy was synchronised";
    } catch (const CopiesFailure& failure) {
        EXPECT_EQ(failure.status(), kHalfWritten);
        EXPECT_TRUE(std::string(failure.what()).starts_with("1 of 3 runs is done and stands; then: "))
            << failure.what();
        EXPECT_TRUE(std::string(failure.what()).ends_with("; this run changed no file")) << failure.what();
        EXPECT_EQ(failure.done.runs.size(), 1u);
        EXPECT_FALSE(failure.done.equal);
    }
    lock->unlock();
    EXPECT_EQ(stateOf(folder.read("0")).UUIDs(), (std::set<std::string> { "c", "1", "2" }));
    EXPECT_TRUE(synchronizeCopies(paths, options, journal, console).equal);
}

} // namespace
