#include "NSFileManager.h"
#include "FaultyCalls.h"
#include "Interruption.h"
#include "PrivateBus.h"
#include "ScratchFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string_view>
#include <vector>

namespace fs = std::filesystem;

namespace {

NSData dataOf(const std::string& text)
{
    return NSData::dataWithBytes(text.data(), text.size());
}

std::string textOf(const std::optional<NSData>& data)
{
    return data ? std::string(reinterpret_cast<const char*>(data->bytes()), data->length()) : "(nothing)";
}

class FileManager : public ::testing::Test {
protected:
    ScratchFolder folder;
    LinuxFileManager files;
    FileSystemCalls real;
    FaultyCalls calls { real };
    LinuxFileManager faulty { calls };
    std::string reason;
};

TEST_F(FileManager, ReadsRegularFilesAlone)
{
    const std::string file = folder.write("a", std::string("\0bc", 3));
    fs::create_directory(folder.path("d"));
    fs::create_symlink("a", folder.path("link"));
    ::mkfifo(folder.path("pipe").c_str(), 0600);
    EXPECT_EQ(textOf(files.dataWithContentsOfFile(file)), std::string("\0bc", 3));
    EXPECT_EQ(textOf(files.dataWithContentsOfFile(folder.path("link"))), std::string("\0bc", 3));
    for (const char* name : { "none", "d", "pipe", "a/b" })
        EXPECT_FALSE(files.dataWithContentsOfFile(folder.path(name))) << name;
    EXPECT_FALSE(files.dataWithContentsOfFile("/dev/zero"));
    folder.write("huge", "");
    ASSERT_EQ(::truncate(folder.path("huge").c_str(), 0xFFFFFFF3), 0);
    EXPECT_FALSE(files.dataWithContentsOfFile(folder.path("huge")));
}

TEST_F(FileManager, WritesBytesFromSeveralPlacesInTheirOrder)
{
    const std::string file = folder.write("a", "old");
    const std::string pieces[]
        = { "head", std::string(3 << 20, 'x'), "", "between", std::string((1 << 20) - 11, 'y'), "tail" };
    for (const std::size_t count : { 0u, 1u, 2u, 4u, 5u, 6u }) { // five end with a full chunk
        std::vector<NSData::ByteRange> ranges;
        std::string expected;
        for (std::size_t i = 0; i < count; ++i) {
            ranges.push_back({ reinterpret_cast<const uint8_t*>(pieces[i].data()), pieces[i].size() });
            expected += pieces[i];
        }
        const NSData data = NSData::dataWithRangesNoCopy(ranges);
        EXPECT_EQ(data.length(), expected.size());
        EXPECT_TRUE(files.writeToFile(data, file, &reason)) << reason;
        EXPECT_TRUE(folder.read("a") == expected) << count;
        EXPECT_TRUE(data == dataOf(expected)) << count;
    }
}

TEST_F(FileManager, ReplacesAtOneStrokeAndKeepsWhatTheFileHad)
{
    const std::string file = folder.write("a", "old");
    ::chmod(file.c_str(), 0640);
    const bool hasAttributes = ::setxattr(file.c_str(), "user.note", "n", 1, 0) == 0;
    const int oldFile = ::open(file.c_str(), O_RDONLY);
    EXPECT_TRUE(files.writeToFile(dataOf("new"), file, &reason)) << reason;
    EXPECT_EQ(folder.read("a"), "new");
    EXPECT_EQ(modeOf(file), 0640u);
    char byte = 0;
    EXPECT_EQ(::pread(oldFile, &byte, 1, 0), 1);
    EXPECT_EQ(byte, 'o'); // whoever had it open still has the old one, whole
    ::close(oldFile);
    if (hasAttributes) {
        EXPECT_EQ(::getxattr(file.c_str(), "user.note", &byte, 1), 1);
    }
    EXPECT_EQ(folder.listing(), "a");
    EXPECT_TRUE(files.writeToFile(dataOf(""), file));
    EXPECT_EQ(folder.read("a"), "");
}

TEST_F(FileManager, NewFilesAreForTheirOwnerAlone)
{
    EXPECT_TRUE(files.writeToFile(dataOf("n"), folder.path("n")));
    EXPECT_EQ(modeOf(folder.path("n")), 0600u);
}

TEST_F(FileManager, LinksStayAndTheirTargetsAreReplaced)
{
    fs::create_directory(folder.path("store"));
    folder.write("store/a", "old");
    fs::create_symlink("store/b", folder.path("one"));
    fs::create_symlink("a", folder.path("store/b"));
    fs::create_symlink("loop", folder.path("loop"));
    fs::create_symlink("store/new", folder.path("dangling"));
    EXPECT_TRUE(files.writeToFile(dataOf("new"), folder.path("one"), &reason)) << reason;
    EXPECT_TRUE(fs::is_symlink(folder.path("one")));
    EXPECT_TRUE(fs::is_symlink(folder.path("store/b")));
    EXPECT_EQ(folder.read("store/a"), "new");
    EXPECT_FALSE(files.writeToFile(dataOf("new"), folder.path("loop"), &reason));
    EXPECT_NE(reason.find("symbolic link"), std::string::npos) << reason;
    EXPECT_TRUE(files.writeToFile(dataOf("made"), folder.path("dangling"), &reason)) << reason;
    EXPECT_EQ(folder.read("store/new"), "made");
}

TEST_F(FileManager, WhatCantBeReplacedStands)
{
    fs::create_directory(folder.path("d"));
    EXPECT_FALSE(files.writeToFile(dataOf("x"), folder.path("d"), &reason));
    EXPECT_EQ(reason, "not replaced: not a regular file");
    EXPECT_FALSE(files.writeToFile(dataOf("x"), folder.path("none/a"), &reason));
    EXPECT_NE(reason.find("No such file"), std::string::npos) << reason;
    EXPECT_FALSE(files.writeToFile(dataOf("x"), folder.path("a/b"), &reason));
}

TEST_F(FileManager, AFileThatChangedSinceItWasReadIsLeftAlone)
{
    const std::string file = folder.write("a", "old");
    ASSERT_TRUE(files.dataWithContentsOfFile(file));
    fs::rename(folder.write("b", "new from elsewhere"), file);
    EXPECT_FALSE(files.writeToFile(dataOf("ours"), file, &reason));
    EXPECT_EQ(reason, std::string("not replaced: ") + LinuxFileManager::kChangedSinceRead);
    EXPECT_EQ(folder.read("a"), "new from elsewhere");
    EXPECT_EQ(folder.listing(), "a");
    ASSERT_TRUE(files.dataWithContentsOfFile(file));
    EXPECT_TRUE(files.writeToFile(dataOf("ours"), file, &reason)) << reason;
    EXPECT_TRUE(files.writeToFile(dataOf("ours again"), file, &reason)) << reason; // our own write is no change
}

using Call = FaultyCalls::Call;
using Fault = FaultyCalls::Fault;

/// All calls of one kind.
Fault failing(Call call, int error)
{
    return { FaultyCalls::Kind::Fails, 0, /*fromThenOn=*/true, error, { call } };
}

TEST_F(FileManager, EveryFailureLeavesTheOldFileAndNothingElse)
{
    const std::pair<Fault, const char*> kCases[] = {
        { failing(Call::Make, EACCES), "Permission denied" },
        { failing(Call::Make, EROFS), "Read-only file system" },
        { failing(Call::Write, ENOSPC), "No space left on device" },
        { failing(Call::Write, EDQUOT), "Disk quota exceeded" },
        { { FaultyCalls::Kind::Empty, 0, /*fromThenOn=*/true, 0, { Call::Write } }, "Input/output error" },
        { failing(Call::Sync, EIO), "Input/output error" },
        { failing(Call::Look, EIO), "Input/output error" }, // what is there is not known, so it is not replaced
        { failing(Call::Stat, EIO), "Input/output error" },
        { failing(Call::Rename, EPERM), "Operation not permitted" },
    };
    const std::string file = folder.write("a", "old");
    for (const auto& [fault, words] : kCases) {
        calls.set(fault);
        EXPECT_FALSE(faulty.writeToFile(dataOf("new"), file, &reason)) << words;
        EXPECT_NE(reason.find(words), std::string::npos) << reason;
        EXPECT_EQ(folder.read("a"), "old") << words;
        EXPECT_EQ(folder.listing(), "a") << words;
    }
}

/// Syncs of folders fail, and nothing else; each sync is interrupted once.
class UnsyncedFolder final : public FileSystemCalls {
public:
    int sync(int descriptor) override
    {
        struct stat status { };
        ::fstat(descriptor, &status);
        wasInterrupted = !wasInterrupted;
        errno = wasInterrupted ? EINTR : EIO;
        const bool fails = wasInterrupted || (folderFails && S_ISDIR(status.st_mode));
        return fails ? -1 : FileSystemCalls::sync(descriptor);
    }

    bool folderFails = true;

private:
    bool wasInterrupted = false;
};

TEST_F(FileManager, AFolderThatCantBeSyncedIsTold)
{
    UnsyncedFolder calls;
    LinuxFileManager unsynced(calls);
    const std::string file = folder.write("a", "old");
    ASSERT_TRUE(unsynced.dataWithContentsOfFile(file));
    EXPECT_FALSE(unsynced.writeToFile(dataOf("new"), file, &reason));
    EXPECT_EQ(reason, "replaced, but the folder can't be synced: Input/output error");
    EXPECT_EQ(folder.read("a"), "new");
    EXPECT_EQ(folder.listing(), "a");
    calls.folderFails = false;
    EXPECT_TRUE(unsynced.writeToFile(dataOf("newer"), file, &reason)) << reason; // our own write is no change
}

TEST_F(FileManager, SmallWritesAddUp)
{
    calls.set({ FaultyCalls::Kind::Short, 0, /*fromThenOn=*/true, 0, { Call::Write } });
    EXPECT_TRUE(faulty.writeToFile(dataOf("many bytes"), folder.path("a")));
    EXPECT_EQ(folder.read("a"), "many bytes");
}

TEST_F(FileManager, WhatCantBeKeptGivesLessAccess)
{
    const struct {
        mode_t before;
        Fault fault;
        mode_t afterwards;
    } kCases[] = {
        { 02664, failing(Call::Owner, EPERM), 0644 }, // the new group may do what everybody may
        { 0604, failing(Call::Owner, EPERM), 0600 }, // the old group, which might do nothing, is everybody now
        { 0660, failing(Call::Mode, EPERM), 0600 },
        { 0664, failing(Call::Attributes, EIO), 0600 }, // an access list, if there was one, may have shut anybody out
        { 0664, failing(Call::Attributes, ENOTSUP), 0664 }, // there was none
        { 06664, {}, 0664 }, // new content runs as nobody
    };
    const std::string file = folder.write("a", "old");
    for (const auto& c : kCases) {
        ::chmod(file.c_str(), c.before);
        calls.set(c.fault);
        EXPECT_TRUE(faulty.writeToFile(dataOf("new"), file));
        EXPECT_EQ(modeOf(file), c.afterwards) << &c - kCases;
    }
}

/// Every file has these attributes; notes those that are set, and lets no access list be set.
class Attributes final : public FileSystemCalls {
public:
    explicit Attributes(std::string_view names)
        : names(names)
    {
    }

    ssize_t listAttributes(int, char* to, std::size_t size) override
    {
        if (size > 0)
            names.copy(to, size);
        return static_cast<ssize_t>(names.size());
    }
    ssize_t getAttribute(int, const char*, void* value, std::size_t size) override
    {
        if (size > 0)
            *static_cast<char*>(value) = 'v';
        return 1;
    }
    int setAttribute(int, const char* name, const void*, std::size_t) override
    {
        errno = ENOTSUP;
        if (std::string_view(name).starts_with("system."))
            return -1;
        set += std::string(name) + " ";
        return 0;
    }

    std::string names;
    std::string set;
};

TEST_F(FileManager, AttributesOfTheOldContentAreChosenAndALostAccessListLeavesTheOwnerAlone)
{
    using namespace std::string_view_literals;
    const struct {
        std::string_view names;
        const char* set;
        mode_t afterwards;
    } kCases[] = {
        { "user.note\0security.ima\0security.evm\0security.capability\0security.label\0"sv, "user.note security.label ",
            0664 },
        { "system.posix_acl_access\0user.note\0"sv, "user.note ", 0600 },
        { "system.nfs4_acl\0"sv, "", 0600 },
    };
    const std::string file = folder.write("a", "old");
    for (const auto& c : kCases) {
        ::chmod(file.c_str(), 0664);
        Attributes attributes(c.names);
        EXPECT_TRUE(LinuxFileManager(attributes).writeToFile(dataOf("new"), file));
        EXPECT_EQ(attributes.set, c.set) << c.names;
        EXPECT_EQ(modeOf(file), c.afterwards) << c.names;
    }
}

TEST_F(FileManager, TemporaryNamesAreShortAndCutBetweenCharacters)
{
    std::string name = "a";
    for (int i = 0; i < 127; ++i)
        name += "\xC3\xA9"; // 255 bytes in all
    std::string created;
    calls.beforeEachCall = [&](Call call) {
        if (call == Call::Write)
            created = folder.listing();
    };
    EXPECT_TRUE(faulty.writeToFile(dataOf("x"), folder.path(name), &reason)) << reason;
    EXPECT_EQ(created.front(), '.');
    EXPECT_LE(created.size(), 143u); // where names are enciphered they are no longer
    EXPECT_EQ(created.find("\xC3."), std::string::npos);
}

/// True if `work` is interrupted by `signal`.
bool isInterrupted(int signal, const std::function<void()>& work)
{
    try {
        work();
    } catch (const Interrupted& interruption) {
        return interruption.signal() == signal;
    }
    return false;
}

TEST_F(FileManager, ASignalEndsAReplacementBeforeItIsOne)
{
    const std::string file = folder.write("a", "old");
    SecondProcess program([&](const std::function<void()>& isReady) { // signals stay with it
        isReady();
        installInterruptionHandlers();
        ::raise(SIGTERM);
        const auto write = [&] { files.writeToFile(dataOf("new"), file); };
        if (!isInterrupted(SIGTERM, write) || folder.read("a") != "old" || folder.listing() != "a")
            return 1;
        {
            const StForgetInterruptions whileCleaningUp;
            if (isInterrupted(SIGTERM, write) || folder.read("a") != "new")
                return 2;
            ::raise(SIGINT);
            if (!isInterrupted(SIGINT, [] { sleepUnlessInterrupted(std::chrono::milliseconds(60000)); }))
                return 3;
        }
        if (!isInterrupted(SIGINT, throwIfInterrupted)) // the later one stays
            return 4;
        {
            const StForgetInterruptions whileCleaningUp;
        }
        return isInterrupted(SIGINT, throwIfInterrupted) ? 0 : 5; // without one, what was forgotten counts again
    });
    EXPECT_EQ(program.wait(), 0);
}

} // namespace
