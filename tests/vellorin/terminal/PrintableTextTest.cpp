#include "Console.h"
#include "Utf8.h"

#include <gtest/gtest.h>

namespace {

struct Row {
    const char* what;
    std::string text;
    std::string shown;
};

using namespace std::string_literals;

const Row kRows[] = {
    { "plain text in several scripts", "Grüße, 日本 ✓", "Grüße, 日本 ✓" },
    { "a backslash is two", "a\\x1b", "a\\\\x1b" },
    { "the codes of a terminal", "\x1b]0;x\a\x1b[2J", "\\x1b]0;x\\x07\\x1b[2J" },
    { "lines, tabs, NUL and DEL", "a\nb\r\tc\0d\x7f"s, "a\\x0ab\\x0d\\x09c\\x00d\\x7f" },
    { "C1 controls as characters",
        "\xC2\x9B"
        "31m",
        "\\u009b31m" },
    { "C1 controls as bytes",
        "\x9B"
        "31m",
        "\\x9b31m" },
    { "marks of direction", "\u202Egpj.exe\u2066\u200F", "\\u202egpj.exe\\u2066\\u200f" },
    { "characters without a look", "a\u200Bb\u00ADc\uFEFF\u3164\U000E0041",
        "a\\u200bb\\u00adc\\ufeff\\u3164\\U000e0041" },
    { "separators of lines", "\u2028\u2029", "\\u2028\\u2029" },
    { "bytes that aren't UTF-8", "\xFF\xC3(\xE2\x82", "\\xff\\xc3(\\xe2\\x82" },
    { "overlong, surrogate, too far", "\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80",
        "\\xc0\\x80\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80" },
};

TEST(Padded, CountsWhatATerminalShows)
{
    EXPECT_EQ(padded("日本", 6) + "|", "日本  |"); // two columns each
    EXPECT_EQ(padded("e\u0301", 3) + "|", "e\u0301  |"); // a mark above takes none
    EXPECT_EQ(padded("long", 2) + "|", "long|");
}

TEST(Printable, ShowsWhatWouldSteerOrDisguise)
{
    for (const Row& row : kRows) {
        EXPECT_EQ(printable(row.text), row.shown) << row.what;
        EXPECT_EQ(printable(row.text, 100), row.shown) << row.what;
    }
}

/// Reads escapes back: what is shown of two different texts differs.
TEST(Printable, LosesNothing)
{
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            const std::string text { static_cast<char>(a), static_cast<char>(b) };
            const std::string shown = printable(text);
            ASSERT_TRUE(isUtf8(shown));
            std::string back;
            for (std::size_t i = 0; i < shown.size();) {
                if (shown[i] != '\\') {
                    back += shown[i++];
                } else if (shown[i + 1] == '\\') {
                    back += '\\';
                    i += 2;
                } else if (shown[i + 1] == 'x') {
                    back += static_cast<char>(std::stoi(shown.substr(i + 2, 2), nullptr, 16));
                    i += 4;
                } else {
                    const int character = std::stoi(shown.substr(i + 2, 4), nullptr, 16);
                    back += { static_cast<char>(0xC0 | character >> 6), static_cast<char>(0x80 | (character & 0x3F)) };
                    i += 6;
                }
            }
            ASSERT_EQ(back, text);
        }
    }
}

TEST(Printable, IsAsWideAsAllowed)
{
    const struct {
        std::string text;
        std::size_t columns;
        std::string shown;
    } rows[] = {
        { "vault", 5, "vault" }, { "vault.vlr", 6, "va…vlr" }, { "vault", 1, "…" }, { "vault", 0, "" },
        { "\x1b\x1b\x1b\x1b", 10, "\\x1b…\\x1b" }, // no escape is cut
        { "日本日本", 7, "日…本" }, // two columns each
        { "e\u0301e\u0301e\u0301", 3, "e\u0301e\u0301e\u0301" }, // one each
    };
    for (const auto& row : rows)
        EXPECT_EQ(printable(row.text, row.columns), row.shown) << row.columns;
    const std::string huge = printable(std::string(1 << 20, '\xFF'), 80);
    EXPECT_LE(huge.size(), 82U);
}

TEST(Grouped, HasGroupsFromFiveDigitsOn)
{
    EXPECT_EQ(grouped(0), "0");
    EXPECT_EQ(grouped(9999), "9999");
    EXPECT_EQ(grouped(10000), "10,000");
    EXPECT_EQ(grouped(100000), "100,000");
    EXPECT_EQ(grouped(UINT64_MAX), "18,446,744,073,709,551,615");
    EXPECT_EQ(counted(1, "record", "records") + counted(0, "record", "records"), "1 record0 records");
}

} // namespace
