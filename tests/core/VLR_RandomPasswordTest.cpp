#include "GeneratorFixture.h"

namespace {

std::string times(int n, const std::string& text)
{
    std::string result;
    for (int i = 0; i < n; ++i)
        result += text;
    return result;
}

TEST_F(Generator, PatternsDrawAndExpand)
{
    const struct {
        std::string pattern;
        std::deque<uint32_t> numbers;
        std::string output, bounds;
    } kCases[] = {
        { "", {}, "", "" },
        { "Xxx-###", { 0, 1, 25, 9, 0, 5 }, "Abz-905", "26 26 26 10 10 10 " },
        { "pPpppppppppppppppp", { 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16 }, "~!@#$%^&*/.,;:'\"?~",
            times(18, "17 ") },
        { "]b}C:\\#" + std::string(1, '\0') + "\xC3\xA9\xFF", {}, "]b}C:\\0" + std::string(1, '\0') + "\xC3\xA9\xFF",
            "10 " },
        // sets
        { "[bcc]d", { 2 }, "cd", "3 " },
        { "[B]", {}, "B", "1 " },
        { "[cX]d", { 1, 3 }, "Dd", "2 26 " },
        { "[]", {}, "", "" },
        { "[]]b]]", {}, "b]", "1 " },
        { "c[", {}, "c", "" },
        { "[bc", {}, "", "" },
        { "d[b{c]d", {}, "d", "" },
        { "d[b[c]d", {}, "d", "" },
        { "d[b}c]d", {}, "d", "" },
        { "[:\\\xC3\xA9]", { 3 }, "\xA9", "4 " },
        // repeats
        { "{[#x]:2:2}", { 0, 0, 7, 1, 3 }, "7d", "1 2 10 2 26 " },
        { "{#:0:0}", {}, "", "1 " },
        { "{#:-3:2}", { 1, 4, 5, 6 }, "456", "2 10 10 10 " },
        { "{b:5:2}d", { 3 }, "bbbbbd", "4 " },
        { "{b:+2:4294967298}", {}, "bb", "1 " },
        { "{b:c:d}d", {}, "d", "1 " },
        { "{b:1c:2d}d", { 1 }, "bbd", "2 " },
        { "{b::2}d", { 2 }, "bbd", "3 " },
        { "{x:2:2}[", {}, "aa", "1 26 26 " },
        { "d{b:2:2", {}, "d", "" },
        { "d{", {}, "d", "" },
        { "{}d{b}d{b:3}d{b:1:2:3}d{:::}d", {}, "ddddd", "" },
        { "{b:c:1:2}d", {}, "d", "" },
        { "{{b:c:1:2}:1:1}d", {}, "d", "1 " },
        { "{:9:9}d", {}, "d", "1 " },
        { "{b{c:2:2}:2:2}d", {}, "bccbccd", "1 1 1 " },
        { "{[b:c]:1:1}d", {}, "d", "" }, // the colon of a set counts
        { "{[b}:1:1]}d", {}, ":1:1]}d", "" }, // and so does its brace
        { "{b[:2:2}d", {}, "bbd", "1 " }, // an open set ends its own body
        { "{b:-2147483648:5}d", {}, "d", "2147483644 " }, // the one number without a magnitude
        { "{b:0:-2147483648}d", {}, "d", "" },
        { "{b:-2147483648:-2147483648}d", {}, "d", "1 " },
    };
    for (const auto& c : kCases) {
        host = ScriptedHost();
        host.numbers = c.numbers;
        EXPECT_EQ(generate(c.pattern), c.output) << c.pattern;
        EXPECT_EQ(host.bounds, c.bounds) << c.pattern;
        EXPECT_TRUE(host.numbers.empty() || c.pattern[0] == 'p') << c.pattern;
    }
}

TEST_F(Generator, PasswordsAreAppended)
{
    EXPECT_EQ(generate("#", "ab"), "ab0");
    VLR_String both = S("#z");
    VLR_RandomPassword::GenerateOnePassword(both, both);
    EXPECT_EQ(str(both), "#z0z");
    VLR_String output = S("q");
    VLR_RandomPassword generator(output);
    VLR_String pattern = S("b#");
    EXPECT_EQ(str(generator.GenRange(pattern.Bytes(), pattern.Bytes() + pattern.Length())), "qb0");
    EXPECT_EQ(str(output), "qb0");
}

TEST_F(Generator, HostilePatternsEnd)
{
    const std::string most = ":2147483647:2147483647}";
    const auto nested
        = [](int levels, const std::string& body) { return times(levels, "{") + body + times(levels, ":1:1}") + "d"; };
    const struct {
        const char* name;
        std::string pattern;
        std::size_t length;
    } kCases[] = {
        { "most output", "{x" + most + "d", 1u << 20 },
        { "most output in repeats of repeats", "{{{b" + most + most + most, 1u << 20 },
        { "most levels", nested(1000, "b"), 2 },
        { "a set is a level too", nested(999, "[b]"), 2 },
        { "one level more", nested(1001, "b"), 0 },
        { "a set as the level more", nested(1000, "[b]"), 0 },
        { "very deep", nested(100000, "b"), 0 },
        { "very deep and open", times(1000000, "{"), 0 },
        { "nothing, often", "{{{{{}:9:9}" + most + most + most + "d", 0 },
        { "nothing in many repeats", "{{:9:9}" + most + "d", 0 },
        { "an open set", "{[" + most + "d", 0 },
        { "a set of dropped brackets", "{[" + std::string(1000000, ']') + most + "d", 0 },
        { "a set of many bytes", "{[" + std::string(1000000, 'b') + most + "d", 0 },
        { "a repeat of many fields", "{{" + std::string(1000000, ':') + "}" + most + "d", 0 },
    };
    for (const auto& c : kCases) {
        host = ScriptedHost();
        EXPECT_EQ(generate(c.pattern).size(), c.length) << c.name;
    }
    EXPECT_EQ(generate("{x" + most, "ten bytes.").size(), 10u + (1u << 20)); // what was there does not count
    host = ScriptedHost();
    write(kShortList, times(100, times(32, "w") + " "));
    EXPECT_EQ(generate("{a" + most + "d").size(), 1u << 20);
    EXPECT_EQ(generate("{a:5000:5000}d").size(), 160001u);
}

} // namespace
