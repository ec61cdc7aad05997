#include "NSFileManager.h"
#include "FileSystemCalls.h"
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
#include <cstring>
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

/// Fails one kind of call with an error number.
class FaultyCalls final : public FileSystemCalls {
public:
    enum class Call {
        Open,
        Write,
        EmptyWrites,
        ShortWrites,
        Sync,
        Rename,
        Look,
        Stat,
        Mode,
        Owner,
        Attributes
    };

    FaultyCalls(Call call, int error)
        : call(call)
        , error(error)
    {
    }

    int openAt(int at, const std::string& name, int flags, mode_t mode) override
    {
        return (flags & O_CREAT) != 0 && fails(Call::Open) ? -1 : FileSystemCalls::openAt(at, name, flags, mode);
    }
    ssize_t write(int descriptor, const void* bytes, std::size_t count) override
    {
        if (fails(Call::Write))
            return -1;
        if (call == Call::EmptyWrites)
            return 0;
        return FileSystemCalls::write(descriptor, bytes, call == Call::ShortWrites ? 1 : count);
    }
    int sync(int descriptor) override { return fails(Call::Sync) ? -1 : FileSystemCalls::sync(descriptor); }
    int renameAt(int at, const std::string& from, const std::string& to) override
    {
        return fails(Call::Rename) ? -1 : FileSystemCalls::renameAt(at, from, to);
    }
    int statAt(int at, const std::string& name, struct stat& status, int flags) override
    {
        return fails(Call::Look) ? -1 : FileSystemCalls::statAt(at, name, status, flags);
    }
    int statOf(int descriptor, struct stat& status) override
    {
        return fails(Call::Stat) ? -1 : FileSystemCalls::statOf(descriptor, status);
    }
    int changeMode(int descriptor, mode_t mode) override
    {
        return fails(Call::Mode) ? -1 : FileSystemCalls::changeMode(descriptor, mode);
    }
    int changeOwner(int descriptor, uid_t owner, gid_t group) override
    {
        return fails(Call::Owner) ? -1 : FileSystemCalls::changeOwner(descriptor, owner, group);
    }
    ssize_t listAttributes(int descriptor, char* names, std::size_t size) override
    {
        return fails(Call::Attributes) ? -1 : FileSystemCalls::listAttributes(descriptor, names, size);
    }

private:
    bool fails(Call asked) const
    {
        errno = error;
        return asked == call;
    }

    Call call;
    int error;
};

TEST_F(FileManager, EveryFailureLeavesTheOldFileAndNothingElse)
{
    using Call = FaultyCalls::Call;
    const struct {
        Call call;
        int error;
        const char* words;
    } kCases[] = {
        { Call::Open, EACCES, "Permission denied" },
        { Call::Open, EROFS, "Read-only file system" },
        { Call::Write, ENOSPC, "No space left on device" },
        { Call::Write, EDQUOT, "Disk quota exceeded" },
        { Call::EmptyWrites, 0, "Input/output error" },
        { Call::Sync, EIO, "Input/output error" },
        { Call::Look, EIO, "Input/output error" }, // what is there is not known, so it is not replaced
        { Call::Stat, EIO, "Input/output error" },
        { Call::Rename, EPERM, "Operation not permitted" },
    };
    const std::string file = folder.write("a", "old");
    for (const auto& c : kCases) {
        FaultyCalls calls(c.call, c.error);
        LinuxFileManager faulty(calls);
        EXPECT_FALSE(faulty.writeToFile(dataOf("new"), file, &reason)) << c.words;
        EXPECT_NE(reason.find(c.words), std::string::npos) << reason;
        EXPECT_EQ(folder.read("a"), "old") << c.words;
        EXPECT_EQ(folder.listing(), "a") << c.words;
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
    FaultyCalls calls(FaultyCalls::Call::ShortWrites, 0);
    EXPECT_TRUE(LinuxFileManager(calls).writeToFile(dataOf("many bytes"), folder.path("a")));
    EXPECT_EQ(folder.read("a"), "many bytes");
}

TEST_F(FileManager, WhatCantBeKeptGivesLessAccess)
{
    using Call = FaultyCalls::Call;
    const struct {
        mode_t before;
        Call fails;
        int error;
        mode_t afterwards;
    } kCases[] = {
        { 02664, Call::Owner, EPERM, 0644 }, // the new group may do what everybody may
        { 0604, Call::Owner, EPERM, 0600 }, // the old group, which might do nothing, counts as everybody now
        { 0660, Call::Mode, EPERM, 0600 },
        { 0664, Call::Attributes, EIO, 0600 }, // an access list, if there was one, may have shut anybody out
        { 0664, Call::Attributes, ENOTSUP, 0664 }, // there was none
        { 06664, Call::ShortWrites, 0, 0664 }, // new content runs as nobody
    };
    const std::string file = folder.write("a", "old");
    for (const auto& c : kCases) {
        ::chmod(file.c_str(), c.before);
        FaultyCalls calls(c.fails, c.error);
        EXPECT_TRUE(LinuxFileManager(calls).writeToFile(dataOf("new"), file));
        EXPECT_EQ(modeOf(file), c.afterwards) << std::oct << c.before << " " << std::strerror(c.error);
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

TEST_F(FileManager, AttributesOfTheOldContentStayBehind)
{
    using namespace std::string_view_literals;
    const std::string file = folder.write("a", "old");
    ::chmod(file.c_str(), 0664);
    Attributes calls("user.note\0security.ima\0security.evm\0security.capability\0security.label\0"sv);
    EXPECT_TRUE(LinuxFileManager(calls).writeToFile(dataOf("new"), file));
    EXPECT_EQ(calls.set, "user.note security.label ");
    EXPECT_EQ(modeOf(file), 0664u);
}

TEST_F(FileManager, ALostAccessListLeavesTheOwnerAlone)
{
    using namespace std::string_view_literals;
    const std::string file = folder.write("a", "old");
    for (const auto names : { "system.posix_acl_access\0user.note\0"sv, "system.nfs4_acl\0"sv }) {
        ::chmod(file.c_str(), 0664);
        Attributes calls(names);
        EXPECT_TRUE(LinuxFileManager(calls).writeToFile(dataOf("new"), file));
        EXPECT_EQ(modeOf(file), 0600u) << names;
    }
}

/// Notes the names of new files.
class NamingCalls final : public FileSystemCalls {
public:
    int openAt(int at, const std::string& name, int flags, mode_t mode) override
    {
        if ((flags & O_CREAT) != 0)
            created = name;
        return FileSystemCalls::openAt(at, name, flags, mode);
    }

    std::string created;
};

TEST_F(FileManager, TemporaryNamesAreShortAndCutBetweenCharacters)
{
    std::string name = "a";
    for (int i = 0; i < 127; ++i)
        name += "\xC3\xA9"; // 255 bytes in all
    NamingCalls calls;
    EXPECT_TRUE(LinuxFileManager(calls).writeToFile(dataOf("x"), folder.path(name), &reason)) << reason;
    EXPECT_EQ(calls.created.front(), '.');
    EXPECT_LE(calls.created.size(), 143u); // where names are enciphered they are no longer
    EXPECT_EQ(calls.created.find("\xC3."), std::string::npos);
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
