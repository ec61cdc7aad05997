#include "StagedFiles.h"

#include "ExitStatus.h"
#include "FaultyCalls.h"
#include "FileSystemInMemory.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>

// A replacement of two files, on file systems with and without what it would like to have, with a fault in each call
// and with somebody else who changes a file before each.

namespace {

using Tree = FileSystemInMemory::Tree;

const Tree kOld { { "/v/", "" }, { "/v/a", "old a" }, { "/v/b", "old b" } };
const Tree kNew { { "/v/", "" }, { "/v/a", "new a" }, { "/v/b", "new b" } };

NSData data(const std::string& text)
{
    return NSData::dataWithBytes(text.data(), text.size());
}

struct Abilities {
    const char* name;
    bool knowsExchange;
    bool knowsLinks;
};

const Abilities kFileSystems[]
    = { { "exchange", true, true }, { "links alone", false, true }, { "neither", false, false } };

class Replacement {
public:
    explicit Replacement(const Abilities& abilities)
        : files(kOld)
        , calls(files)
    {
        files.knowsExchange = abilities.knowsExchange;
        files.knowsLinks = abilities.knowsLinks;
    }

    /// "done", "failed", "half", "changed"
    std::string run()
    {
        const StFileSystemCalls inPlace(calls);
        try {
            StagedFiles staged;
            for (const std::string path : { "/v/a", "/v/b" })
                staged.read(path);
            hasRead = true;
            for (const std::string name : { "a", "b" })
                staged.stage("/v/" + name, data("new " + name));
            staged.commit();
            return "done";
        } catch (const FileChanged&) {
            return "changed";
        } catch (const CommandFailure& failure) {
            message = failure.what();
            return failure.status() == kHalfWritten ? "half" : "failed";
        }
    }

    /// Somebody else replaces a file.
    void replaceByOther(const std::string& path)
    {
        const int file = files.openAt(AT_FDCWD, "/v/other", O_WRONLY | O_CREAT, 0600);
        files.write(file, "other", 5);
        files.close(file);
        files.renameAt(AT_FDCWD, "/v/other", path);
    }

    std::size_t countCalls()
    {
        run();
        return calls.count();
    }

    FileSystemInMemory files;
    FaultyCalls calls;
    bool hasRead = false;
    std::string message;
};

/// Without what a call that failed could not remove.
Tree withoutLeftovers(Tree tree)
{
    std::erase_if(tree, [](const auto& entry) { return entry.first.starts_with("/v/."); });
    return tree;
}

TEST(StagedFilesTest, ReplacesBothAndLeavesNothing)
{
    for (const Abilities& abilities : kFileSystems) {
        Replacement replacement(abilities);
        EXPECT_EQ(replacement.run(), "done") << abilities.name;
        EXPECT_EQ(replacement.files.tree(), kNew) << abilities.name;
        EXPECT_EQ(replacement.files.openDescriptors(), 0u) << abilities.name;
    }
}

TEST(StagedFilesTest, AFaultInAnyCallLeavesAllOldOrAllNewOrSaysWhichIs)
{
    std::size_t half = 0;
    for (const Abilities& abilities : kFileSystems) {
        const std::size_t calls = Replacement(abilities).countCalls();
        for (std::size_t at = 0; at < 2 * calls; ++at) {
            SCOPED_TRACE(std::string(abilities.name) + ", call " + std::to_string(at / 2) + (at % 2 ? " and on" : ""));
            Replacement replacement(abilities);
            replacement.calls.set({ FaultyCalls::Kind::Fails, at / 2, at % 2 == 1, EIO });
            const std::string outcome = replacement.run();
            const Tree left = withoutLeftovers(replacement.files.tree());
            EXPECT_EQ(replacement.files.openDescriptors(), 0u);
            if (outcome == "done")
                EXPECT_EQ(left, kNew);
            else if (outcome == "half") {
                EXPECT_EQ(left.at("/v/a"), "new a");
                EXPECT_NE(replacement.message.find("/v/a has its new content"), std::string::npos);
                EXPECT_EQ(left.at("/v/b") == "new b",
                    replacement.message.find("/v/b has its new content") != std::string::npos);
                ++half;
            } else
                EXPECT_EQ(left, kOld) << outcome;
            if (HasFatalFailure() || HasFailure())
                return;
        }
    }
    EXPECT_GT(half, 3u);
}

TEST(StagedFilesTest, NobodysChangeIsOverwritten)
{
    for (const Abilities& abilities : kFileSystems) {
        const std::size_t calls = Replacement(abilities).countCalls();
        for (const std::string path : { "/v/a", "/v/b" }) {
            std::size_t lost = 0;
            for (std::size_t at = 0; at < calls; ++at) {
                Replacement replacement(abilities);
                std::size_t call = 0;
                bool isInTime = false;
                replacement.calls.beforeEachCall = [&](FaultyCalls::Call) {
                    if (call++ != at)
                        return;
                    // Behind our own replacement it is none of our business.
                    isInTime = replacement.hasRead && replacement.files.tree().at(path).starts_with("old");
                    replacement.replaceByOther(path);
                };
                const std::string outcome = replacement.run();
                if (isInTime && replacement.files.tree().at(path) != "other")
                    ++lost;
                else if (isInTime && outcome == "done")
                    ADD_FAILURE() << abilities.name << ", call " << at << ": done, with the change in place";
            }
            // Without an exchange there is a moment between the last look and the renaming.
            EXPECT_LE(lost, abilities.knowsExchange ? 0u : 3u) << abilities.name << " " << path;
        }
    }
}

/// Somebody changes the second file, so that the first is put back, and then the first as well.
TEST(StagedFilesTest, NobodysChangeIsTakenAwayWithWhatIsPutBack)
{
    const std::size_t calls = 2 * Replacement(kFileSystems[0]).countCalls();
    std::size_t changes = 0;
    for (std::size_t second = 0; second < calls; ++second) {
        for (std::size_t first = second; first < calls; ++first) {
            Replacement replacement(kFileSystems[0]);
            std::size_t call = 0;
            bool isChanged = false;
            replacement.calls.beforeEachCall = [&](FaultyCalls::Call) {
                const std::size_t now = call++;
                if (!replacement.hasRead)
                    return;
                if (now == second)
                    replacement.replaceByOther("/v/b");
                if (now == first) {
                    replacement.replaceByOther("/v/a");
                    isChanged = true;
                }
            };
            replacement.run();
            changes += isChanged;
            const std::string present = replacement.files.tree().at("/v/a");
            ASSERT_TRUE(!isChanged || present == "other") << present << " " << second << " " << first;
        }
    }
    EXPECT_GT(changes, 100u);
}

TEST(StagedFilesTest, WhatIsDiscardedStaysAsItIs)
{
    FileSystemInMemory files(kOld);
    const StFileSystemCalls inPlace(files);
    StagedFiles staged;
    for (const std::string path : { "/v/a", "/v/b" }) {
        staged.read(path);
        staged.stage(path, data("new " + path.substr(3)));
    }
    staged.discard("/v/b");
    staged.commit();
    EXPECT_EQ(files.tree(), (Tree { { "/v/", "" }, { "/v/a", "new a" }, { "/v/b", "old b" } }));
}

} // namespace
