#include "ExtraStringUtilities.h"
#include "NSPathUtilities.h"
#include "ScratchFolder.h"
#include "UtilityStandIns.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

namespace fs = std::filesystem;
using namespace ExtraStringUtilities;

namespace {

TEST(NSPathUtilities, TakesPathsApart)
{
    const struct {
        const char* path;
        const char* components; // joined by "|"
        const char* folder;
        const char* last;
        const char* withoutExtension;
        const char* extension;
    } kCases[] = {
        { "/a/b.txt", "/|a|b.txt", "/a", "b.txt", "/a/b", "txt" },
        { "a.b/c", "a.b|c", "a.b", "c", "a.b/c", "" },
        { "/a.b/", "/|a.b", "/", "a.b", "/a", "b" },
        { "//a//b", "/|a|b", "//a", "b", "//a//b", "" },
        { "/", "/", "/", "/", "/", "" },
        { "", "", "", "", "", "" },
        { "a..b", "a..b", "", "a..b", "a.", "b" },
        { "/.a", "/|.a", "/", ".a", "/.a", "" },
        { "a.", "a.", "", "a.", "a.", "" },
    };
    for (const auto& c : kCases) {
        std::string components;
        for (const std::string& component : pathComponents(c.path))
            components += (components.empty() ? "" : "|") + component;
        EXPECT_EQ(components, c.components) << c.path;
        EXPECT_EQ(stringByDeletingLastPathComponent(c.path), c.folder) << c.path;
        EXPECT_EQ(lastPathComponent(c.path), c.last) << c.path;
        EXPECT_EQ(stringByDeletingPathExtension(c.path), c.withoutExtension) << c.path;
        EXPECT_EQ(pathExtension(c.path), c.extension) << c.path;
    }
}

/// A folder whose own path has no link in it; log, home and current folder are afterwards what they were before.
class FileUtilities : public ::testing::Test {
protected:
    FileUtilities()
        : currentFolder(fs::current_path())
        , home(std::getenv("HOME") != nullptr ? std::optional<std::string>(std::getenv("HOME")) : std::nullopt)
        , top(fs::canonical(folder.path(".")).string())
    {
    }
    ~FileUtilities() override
    {
        fs::current_path(currentFolder);
        if (home)
            ::setenv("HOME", home->c_str(), 1);
    }

    std::string in(const std::string& name) const { return top + "/" + name; }

    ScratchFolder folder;
    LogLines log;

private:
    const fs::path currentFolder;
    const std::optional<std::string> home;

protected:
    const std::string top;
};

TEST_F(FileUtilities, LinksAreResolvedAtEveryLevel)
{
    fs::create_directories(in("real/sub"));
    folder.write("real/sub/file", "");
    fs::create_symlink("real", in("link"));
    fs::create_symlink(in("link"), in("chain"));
    fs::create_symlink("sub", in("real/inner"));
    fs::create_symlink("sub/file", in("real/leaf"));
    fs::create_symlink(in("real/sub"), in("deep"));
    const struct {
        const char* path;
        const char* asFolder;
        const char* asFile;
    } kCases[] = {
        { "link", "real", "link" },
        { "chain/inner", "real/sub", "real/inner" },
        { "chain/inner/file", "real/sub/file", "real/sub/file" },
        { "link/leaf", "real/sub/file", "real/leaf" },
        { "link/leaf/beyond", "real/sub/file/beyond", "real/sub/file/beyond" }, // a file ends it
        { "deep/../sub", "real/sub", "real/sub" }, // from where the link leads, as the system goes
        { "link/./sub/", "real/sub", "real/sub" },
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(folderPathWithAliasesResolved(in(c.path)), in(c.asFolder)) << c.path;
        EXPECT_EQ(filePathWithAliasesResolved(in(c.path)), in(c.asFile)) << c.path;
    }
    EXPECT_EQ(log.text(), "");
    fs::current_path(in("real"));
    EXPECT_EQ(folderPathWithAliasesResolved("inner/file"), in("real/sub/file"));
    EXPECT_EQ(filePathWithAliasesResolved("leaf"), "leaf");
    ::setenv("HOME", in("link").c_str(), 1);
    EXPECT_EQ(folderPathWithAliasesResolved("~/inner"), in("real/sub"));
    EXPECT_EQ(folderPathWithAliasesResolved("~"), in("real"));
    EXPECT_EQ(folderPathWithAliasesResolved("/"), "/");
    EXPECT_EQ(folderPathWithAliasesResolved(""), "");
}

TEST_F(FileUtilities, WhatCantBeResolvedStaysWithItsTail)
{
    constexpr char kName[] = "-[NSString(ExtraStringUtilities) folderPathWithAliasesResolved] 1368, FSPathMakeRef=";
    fs::create_directory(in("real"));
    fs::create_symlink("real", in("link"));
    fs::create_symlink("loop", in("real/loop"));
    fs::create_symlink("nowhere", in("real/dangling"));
    const struct {
        const char* path;
        const char* resolved;
        const char* error;
        const char* failedAt;
    } kCases[] = {
        { "link/none/link/x", "real/none/link/x", "4294967253", "real/none" }, // -43
        { "link/dangling/x", "real/dangling/x", "4294967253", "real/dangling" },
        { "link/loop/x", "real/loop/x", "4294967260", "real/loop" }, // -36
    };
    for (const auto& c : kCases) {
        log.lines.clear();
        EXPECT_EQ(folderPathWithAliasesResolved(in(c.path)), in(c.resolved));
        EXPECT_EQ(log.text(), kName + std::string(c.error) + ", " + in(c.failedAt) + "\n");
    }
    EXPECT_EQ(folderPathWithAliasesResolved("none-here/x"), "none-here/x");
}

TEST_F(FileUtilities, AReferenceLeadsBackToItsObject)
{
    folder.write("a b", "");
    fs::create_symlink("a b", in("link"));
    const FSRef ref = FSRefWithPath(in("link"));
    EXPECT_EQ(pathWithFSRef(ref), "file://" + in("a%20b"));
    fs::create_hard_link(in("a b"), in("second"));
    EXPECT_EQ(FSCompareFSRefs(FSRefWithPath(in("second")), ref), 0);
    EXPECT_EQ(pathWithFSRef(ref), "file://" + in("second")); // the latest that was told

    const std::string kNoURL = inconsistency("pathWithFSRef CFURLCreateFromFSRef Error", "pathWithFSRef:", 1211);
    EXPECT_EQ(raisedBy([] { pathWithFSRef(FSRef()); }), kNoURL);
    fs::rename(folder.write("other", ""), in("second")); // another object at its path
    EXPECT_EQ(raisedBy([&] { pathWithFSRef(ref); }), kNoURL);
    FSRefWithPath(in("a b"));
    EXPECT_EQ(pathWithFSRef(ref), "file://" + in("a%20b"));
}

TEST_F(FileUtilities, AsManyReferencesAsAreRememberedLeadBack)
{
    const FSRef oldest = FSRefWithPath(folder.write("oldest", ""));
    const FSRef second = FSRefWithPath(folder.write("second", ""));
    for (int i = 0; i < 255; ++i)
        FSRefWithPath(folder.write(std::to_string(i), ""));
    EXPECT_EQ(pathWithFSRef(second), "file://" + in("second"));
    EXPECT_THROW(pathWithFSRef(oldest), NSException);
}

constexpr char kAttribute[] = "user.com.apple.FinderInfo";

TEST_F(FileUtilities, FinderInformationMovesWhole)
{
    const std::string file = folder.write("a", "x");
    if (::setxattr(file.c_str(), kAttribute, "0123456789abcdefghijklmnopqrstuv", 32, 0) != 0)
        GTEST_SKIP() << "no extended attributes here";
    FileInfo info;
    EXPECT_TRUE(fileInfo(file, &info));
    EXPECT_EQ(info, (FileInfo { 0x30313233, 0x34353637, { '8', '9', 'a', 'b', 'c', 'd', 'e', 'f' } }));
    info = { 0x566C7234, 0x73683131, { 'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H' } };
    EXPECT_TRUE(setFileInfo(file, &info));
    char bytes[33] = {};
    EXPECT_EQ(::getxattr(file.c_str(), kAttribute, bytes, 33), 32);
    EXPECT_STREQ(bytes, "Vlr4sh11ABCDEFGHghijklmnopqrstuv");

    const std::string other = folder.write("b", "x");
    EXPECT_TRUE(copyTypeCreatorToPath(file, other));
    EXPECT_TRUE(fileInfo(other, &info));
    EXPECT_EQ(info, (FileInfo { 0x566C7234, 0x73683131, {} })); // the codes alone
    EXPECT_EQ(log.text(), "");
}

TEST_F(FileUtilities, FailuresOfFinderInformationHaveTheirLines)
{
    FileInfo info { 1, 2, {} };
    constexpr char kGet[] = "-[NSString(ExtraStringUtilities) fileInfo:]";
    constexpr char kSet[] = "-[NSString(ExtraStringUtilities) setFileInfo:]";
    EXPECT_EQ(raisedBy([] { fileInfo("/nonexistent", nullptr); }),
        inconsistency(std::string(kGet) + ":1556", "fileInfo:", 1556));
    EXPECT_EQ(raisedBy([] { setFileInfo("/nonexistent", nullptr); }),
        inconsistency(std::string(kSet) + ":1574", "setFileInfo:", 1574));
    EXPECT_EQ(
        raisedBy([&] { fileInfo("/nonexistent", &info); }), inconsistency("Can't find file.", "FSRefWithPath", 1202));
    EXPECT_EQ(log.text(), "");
    constexpr char kWithoutAttributes[] = "/proc/self/status";
    EXPECT_FALSE(fileInfo(kWithoutAttributes, &info));
    EXPECT_FALSE(setFileInfo(kWithoutAttributes, &info));
    ASSERT_EQ(::mkfifo(in("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(setFileInfo(in("pipe"), &info)); // reads as if it had none, and takes none
    EXPECT_EQ(log.text(), kGet + std::string(":1563\n") + kSet + ":1581\n" + kSet + ":1588\n");
    EXPECT_EQ(info, (FileInfo { 1, 2, {} }));
}

TEST_F(FileUtilities, CodesAreCopiedBetweenFilesAlone)
{
    const std::string file = folder.write("a", "x");
    fs::create_directory(in("d"));
    EXPECT_TRUE(copyTypeCreatorToPath(in("d"), top));
    EXPECT_FALSE(copyTypeCreatorToPath(in("d"), file));
    EXPECT_FALSE(copyTypeCreatorToPath(file, in("d")));
    EXPECT_FALSE(copyTypeCreatorToPath(in("none"), in("d")));
    EXPECT_THROW(copyTypeCreatorToPath(in("none"), file), NSException);
    EXPECT_THROW(copyTypeCreatorToPath(file, in("none")), NSException);
    EXPECT_FALSE(copyTypeCreatorToPath("/proc/self/status", file));
    EXPECT_EQ(log.text(), "");
}

TEST_F(FileUtilities, BurrowsToAFolder)
{
    const std::string file = folder.write("a", "x");
    fs::create_directory_symlink(".", in("link"));
    EXPECT_TRUE(burrowToPath(in("x/y/z")));
    EXPECT_TRUE(fs::is_directory(in("x/y/z")));
    EXPECT_TRUE(burrowToPath(in("x/y")));
    EXPECT_TRUE(burrowToPath(in("link/x")));
    EXPECT_FALSE(burrowToPath(file));
    EXPECT_FALSE(burrowToPath(file + "/b"));
    EXPECT_FALSE(burrowToPath(""));
}

} // namespace
