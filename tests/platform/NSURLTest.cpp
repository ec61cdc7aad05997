#include "NSURL.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

TEST(NSURL, EveryByteOfAPathSurvives)
{
    std::string path = "/";
    for (int byte = 1; byte < 256; ++byte)
        path += static_cast<char>(byte);
    path += "/\xC3\xA9\n%2F#?"; // and what would mean something in a URL
    const NSURL url = NSURL::fileURLWithPath(path);
    EXPECT_EQ(url.path(), path);
    EXPECT_EQ(url.urlData().find_first_of(" \t\n\r"), std::string::npos);
    const auto back = NSURL::urlWithURLString(url.urlString());
    ASSERT_TRUE(back);
    EXPECT_EQ(back->path(), path);
}

TEST(NSURL, PathsBecomeWholeAndStayAsTheyAre)
{
    const std::string here = std::filesystem::current_path().string();
    const struct {
        const char* path;
        std::string whole;
        std::string text;
    } kCases[] = {
        { "/a b/c.vlr", "/a b/c.vlr", "file:///a%20b/c.vlr" },
        { "/a/../b//c", "/a/../b//c", "file:///a/../b//c" }, // behind a link, `..` is another folder
        { "/a/b///", "/a/b", "file:///a/b" },
        { "/a/b/.//.", "/a/b", "file:///a/b" },
        { "/", "/", "file:///" },
        { "", "", "file://" },
        { "c.vlr", here + "/c.vlr", "" },
    };
    for (const auto& c : kCases) {
        const NSURL url = NSURL::fileURLWithPath(c.path);
        EXPECT_EQ(url.path(), c.whole) << c.path;
        if (!c.text.empty()) {
            EXPECT_EQ(url.urlString(), c.text) << c.path;
        }
    }
}

TEST(NSURL, TextsThatAreNoFileOfThisMachineAreRefused)
{
    for (const char* text : { "", "/a/b", "http://a/b", "file:", "file://", "file://other/a", "file:///a%2",
             "file:///a%zz", "file:///a%00b", "file:///a?b", "file:///a#b" })
        EXPECT_FALSE(NSURL::urlWithURLString(text)) << text;
    EXPECT_EQ(NSURL::urlWithURLString("file://localhost/a%20b")->path(), "/a b");
    EXPECT_EQ(NSURL::urlWithURLString("file:///%c3%A9")->path(), "/\xC3\xA9");
}

} // namespace
