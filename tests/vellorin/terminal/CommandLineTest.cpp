#include "CommandLine.h"
#include "Console.h"
#include "ExitStatus.h"
#include "Interruption.h"
#include "NSLog.h"
#include "StCapturedOutput.h"
#include "VLR_Exception.h"
#include "VLR_SystemConversions.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <functional>
#include <new>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Words = std::vector<std::string>;

/// What a command was given.
struct Given {
    bool flag = false;
    uint32_t number = 7;
    uint64_t large = 7;
    std::string output;
    Words list;
    std::string first;
    Words middle;
    std::string last;
};

class TestCommand final : public Command {
public:
    TestCommand(Given& given, std::function<int(Console&)> body)
        : given_(given)
        , body_(std::move(body))
    {
    }

    CommandPage page() override
    {
        CommandPage page;
        page.name = "try";
        page.summary = "try something";
        page.operands = { { "FIRST", "the first", &given_.first },
            { "MIDDLE", "any number", &given_.middle, 0, CommandPage::kAny }, { "LAST", "the last", &given_.last } };
        page.options = { { "--flag", "-f", "", "a flag", &given_.flag },
            { "--number", "-n", "N", "a number (7)", &given_.number },
            { "--large", "", "N", "a large number", &given_.large },
            { "--output", "-o", "FILE", "where to", &given_.output },
            { "--with", "-w", "WORD", "several times", &given_.list } };
        page.examples = { { "vellorin try a b", "try both" } };
        return page;
    }

    int run(Console& console) override { return body_(console); }

private:
    Given& given_;
    std::function<int(Console&)> body_;
};

struct Result {
    int status = -1;
    bool ran = false;
    Given given;
    std::string out;
    std::string error;
};

int doNothing(Console&)
{
    return kDone;
}

/// With `output`, which is taken over, standard output goes there.
Result runWords(const Words& words, const std::function<int(Console&)>& body = doNothing, int output = -1)
{
    Result result;
    const StCapturedOutput captured;
    const StRedirected elsewhere(STDOUT_FILENO, output >= 0 ? output : ::dup(STDOUT_FILENO));
    Commands commands;
    commands.push_back(std::make_unique<TestCommand>(result.given, [&](Console& console) {
        result.ran = true;
        return body(console);
    }));
    result.status = runCommandLine(commands, words);
    setLogSink(nullptr);
    result.out = captured.out();
    result.error = captured.error();
    return result;
}

std::string joined(const Words& words)
{
    std::string result;
    for (const std::string& word : words)
        result += word + "|";
    return result.substr(0, result.size() - (words.empty() ? 0 : 1));
}

struct Accepted {
    Words words; // behind the command
    std::string operands; // FIRST|MIDDLE...|LAST
    std::function<bool(const Given&)> holds;
};

const Accepted kAccepted[] = {
    { { "a", "b" }, "a|b", [](const Given& g) { return !g.flag && g.number == 7; } },
    { { "a", "b", "c", "d" }, "a|b|c|d", {} },
    { { "-f", "a", "--number", "9", "b" }, "a|b", [](const Given& g) { return g.flag && g.number == 9; } },
    { { "a", "b", "-n9", "--output=x=y" }, "a|b", [](const Given& g) { return g.number == 9 && g.output == "x=y"; } },
    { { "-fn", "9", "a", "b" }, "a|b", [](const Given& g) { return g.flag && g.number == 9; } },
    { { "-f", "-f", "--flag", "a", "b" }, "a|b", [](const Given& g) { return g.flag; } },
    { { "-o", "-", "-", "b" }, "-|b", [](const Given& g) { return g.output == "-"; } },
    { { "-o-", "a", "b" }, "a|b", [](const Given& g) { return g.output == "-"; } },
    { { "-o", "-f", "a", "b" }, "a|b", [](const Given& g) { return g.output == "-f" && !g.flag; } },
    { { "-o", "--", "--", "--", "b" }, "--|b", [](const Given& g) { return g.output == "--"; } },
    { { "-o", "", "", "b" }, "|b", [](const Given& g) { return g.output.empty(); } },
    { { "-w", "[a,b]", "--with=c,d", "-w", "", "a", "b" }, "a|b",
        [](const Given& g) {
            return g.list == Words { "[a,b]", "c,d", "" };
        } },
    { { "-w", "x", "a", "b", "c" }, "a|b|c", [](const Given& g) { return g.list == Words { "x" }; } },
    { { "--", "-f", "--number", "9" }, "-f|--number|9", [](const Given& g) { return !g.flag; } },
    { { "a", "--", "--" }, "a|--", {} },
    // Forms that a parser might read: lists, ends of commands, names of commands, other systems' options, quotes.
    { { "[a,b]", "++", "try", "%%", "/f", "\"q\"", "{x}", "@file", "", " " }, "[a,b]|++|try|%%|/f|\"q\"|{x}|@file|| ",
        {} },
    { { "caf\xE9", "\xFF\xFE\n" }, "caf\xE9|\xFF\xFE\n", {} },
    { { "--large", "18446744073709551615", "a", "b" }, "a|b", [](const Given& g) { return g.large == UINT64_MAX; } },
    { { "--number", "010", "a", "b" }, "a|b", [](const Given& g) { return g.number == 10; } },
};

TEST(CommandLine, TakesWordsAsTheyAre)
{
    for (const Accepted& row : kAccepted) {
        Words words = row.words;
        words.insert(words.begin(), "try");
        const Result result = runWords(words);
        EXPECT_EQ(result.status, kDone) << joined(words) << ": " << result.error;
        Words operands = result.given.middle;
        operands.insert(operands.begin(), result.given.first);
        operands.push_back(result.given.last);
        EXPECT_EQ(joined(operands), row.operands) << joined(words);
        EXPECT_TRUE(!row.holds || row.holds(result.given)) << joined(words);
        EXPECT_EQ(result.error, "");
    }
}

struct Wrong {
    Words words;
    std::string message;
    std::string tryCommand; // "" or "try "
};

const Wrong kWrong[] = {
    { {}, "name a command", "" },
    { { "" }, "no such command: ", "" },
    { { "tr" }, "no such command: tr", "" },
    { { "-q", "try" }, "no such option: -q", "" },
    { { "\x1b[2J" }, "no such command: \\x1b[2J", "" },
    { { "try" }, "missing FIRST", "try " },
    { { "try", "a" }, "missing LAST", "try " },
    { { "try", "--nothing", "a", "b" }, "no such option: --nothing", "try " },
    { { "try", "--fla", "a", "b" }, "no such option: --fla", "try " },
    { { "try", "-1", "a", "b" }, "no such option: -1", "try " },
    { { "try", "-fx", "a", "b" }, "no such option: -x", "try " },
    { { "try", "--flag=1", "a", "b" }, "--flag takes no value", "try " },
    { { "try", "--flag=", "a", "b" }, "--flag takes no value", "try " },
    { { "try", "-q=false", "a", "b" }, "no such option: -=false", "try " },
    { { "try", "a", "b", "--output" }, "--output needs a value", "try " },
    { { "try", "a", "b", "-o" }, "--output needs a value", "try " },
    { { "try", "--output=", "a", "b" }, "--output needs a value", "try " },
    { { "try", "-o", "x", "-o", "y", "a", "b" }, "--output is given more than once", "try " },
    { { "try", "-n", "x", "a", "b" }, "--number needs a whole number up to 4294967295, not \"x\"", "try " },
    { { "try", "-n", "-1", "a", "b" }, "--number needs a whole number up to 4294967295, not \"-1\"", "try " },
    { { "try", "-n", "0x9", "a", "b" }, "--number needs a whole number up to 4294967295, not \"0x9\"", "try " },
    { { "try", "-n", "4294967296", "a", "b" }, "--number needs a whole number up to 4294967295, not \"4294967296\"",
        "try " },
    { { "try", "-q", "-v", "a", "b" }, "--quiet excludes --verbose", "try " },
};

TEST(CommandLine, SaysWhatIsWrongWithTheWords)
{
    for (const Wrong& row : kWrong) {
        const Result result = runWords(row.words);
        EXPECT_EQ(result.status, kRefused) << joined(row.words);
        EXPECT_FALSE(result.ran) << joined(row.words);
        EXPECT_EQ(
            result.error, "vellorin: " + row.message + "\nvellorin: Try vellorin " + row.tryCommand + "--help.\n");
        EXPECT_EQ(result.out, "");
    }
}

TEST(CommandLine, HelpsOnStandardOutput)
{
    for (const Words& words : { Words { "try", "--help" }, Words { "try", "a", "--help", "-f", "x", "y" } }) {
        const Result result = runWords(words);
        EXPECT_EQ(result.status, kDone);
        EXPECT_FALSE(result.ran);
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(result.out, R"(usage: vellorin try [OPTION...] FIRST [MIDDLE...] LAST

Try something.

  FIRST   the first
  MIDDLE  any number
  LAST    the last

  -f, --flag         a flag
  -n, --number N     a number (7)
  --large N          a large number
  -o, --output FILE  where to
  -w, --with WORD    several times
  -q, --quiet        write nothing to standard error but failures
  -v, --verbose      tell on standard error how it is done as well
  --help             write this text to standard output and exit

example: vellorin try a b
  try both
)");
    }
    EXPECT_NE(runWords({ "--help" }).out.find("\n  try  try something\n"), std::string::npos);
    EXPECT_EQ(runWords({ "--version" }).out.substr(0, 9), "vellorin ");
}

struct End {
    const char* what;
    std::function<int(Console&)> body;
    int status;
    std::string error;
};

const End kEnds[] = {
    { "a status of its own", [](Console&) { return kLookAtIt; }, 1, "" },
    { "a refusal", [](Console&) -> int { throw CommandFailure(kRefused, "a\nb\x1b"); }, 2, "vellorin: a\\x0ab\\x1b\n" },
    { "half done", [](Console&) -> int { throw CommandFailure(kHalfWritten, "half"); }, 4, "vellorin: half\n" },
    { "no memory", [](Console&) -> int { throw std::bad_alloc(); }, 3, "vellorin: std::bad_alloc\n" },
    { "the core's text", [](Console&) -> int { throw VLR_Exception(VLR_ExceptionFile, SysToVLR("cut\x1b")); }, 3,
        "vellorin: cut\\x1b\n" },
    { "the core's code", [](Console&) -> int { throw VLR_Exception(VLR_ExceptionFile, "a.cpp", "Read", 1); }, 3,
        "vellorin: a.cpp:Read (code 5)\n" },
    { "anything", [](Console&) -> int { throw 1; }, 3, "vellorin: unknown failure\n" },
    { "a signal", [](Console&) -> int { throw Interrupted(SIGTERM); }, 128 + SIGTERM, "" },
};

TEST(CommandLine, MakesAnExitStatusOfEveryEnd)
{
    for (const End& row : kEnds) {
        const Result result = runWords({ "try", "a", "b" }, row.body);
        EXPECT_EQ(result.status, row.status) << row.what;
        EXPECT_EQ(result.error, row.error) << row.what;
    }
}

int talk(Console& console)
{
    console.say("said");
    console.detail("detailed");
    NSLog("logged");
    console.progress("busy");
    console.data("data\n");
    return kDone;
}

TEST(CommandLine, TalksAsAsked)
{
    EXPECT_EQ(runWords({ "try", "a", "b" }, talk).error, "said\n");
    EXPECT_EQ(runWords({ "try", "-q", "a", "b" }, talk).error, "");
    EXPECT_EQ(runWords({ "try", "a", "b", "--verbose" }, talk).error, "said\ndetailed\nlogged\n");
    EXPECT_EQ(runWords({ "try", "-q", "a", "b" }, talk).out, "data\n");
}

TEST(CommandLine, FailsWhenOutputIsLost)
{
    const auto full = [] { return ::open("/dev/full", O_WRONLY); };
    const std::string message = "vellorin: can't write to standard output: No space left on device\n";
    const Result failed = runWords({ "try", "-q", "a", "b" }, talk, full());
    EXPECT_EQ(failed.status, kFailed);
    EXPECT_EQ(failed.error, message);
    EXPECT_EQ(runWords({ "try", "--help" }, talk, full()).error, message);
    const auto talkAfterWork = [](Console& console) {
        console.workIsDone();
        return talk(console);
    };
    const Result done = runWords({ "try", "-q", "a", "b" }, talkAfterWork, full());
    EXPECT_EQ(done.status, kLookAtIt);
    EXPECT_EQ(done.error, message);
}

TEST(CommandLine, EndsQuietlyWhenTheReaderHasGone)
{
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    int ends[2] = {};
    ASSERT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    bool givenBack = false;
    const auto talkWithLock = [&](Console& console) {
        const std::shared_ptr<void> lock(nullptr, [&](void*) { givenBack = true; });
        return talk(console);
    };
    const Result result = runWords({ "try", "-q", "a", "b" }, talkWithLock, ends[1]);
    std::signal(SIGPIPE, before);
    EXPECT_EQ(result.status, 128 + SIGPIPE);
    EXPECT_EQ(result.error, "");
    EXPECT_TRUE(givenBack);
}

} // namespace
