// What a command shows on a terminal: a pseudo-terminal, with the test at its other end.

#include "Console.h"
#include "Interruption.h"
#include "StCapturedOutput.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr char kProgressEnd[] = "\r\x1b[K";
constexpr char kEndOfInput = 4;

/// Runs the body in a process of its own, before a terminal of `columns` that sends `input`; what it wrote there.
std::string onTerminal(
    const std::function<void(Console&)>& body, const std::string& input = "", unsigned short columns = 80)
{
    int terminal = -1;
    const winsize size { 24, columns, 0, 0 };
    termios plain {}; // lines in, and everything out as it is; without an echo
    plain.c_cflag = CREAD | CS8;
    plain.c_lflag = ICANON;
    plain.c_cc[VEOF] = kEndOfInput;
    const pid_t child = ::forkpty(&terminal, nullptr, &plain, &size);
    if (child == 0) {
        {
            Console console("vellorin");
            body(console);
        }
        ::_exit(0);
    }
    EXPECT_EQ(::write(terminal, input.data(), input.size()), static_cast<ssize_t>(input.size()));
    std::string shown;
    char buffer[1024];
    for (ssize_t count = 0; (count = ::read(terminal, buffer, sizeof buffer)) > 0;)
        shown.append(buffer, static_cast<std::size_t>(count));
    ::waitpid(child, nullptr, 0);
    ::close(terminal);
    return shown;
}

class ConsoleTest : public ::testing::Test {
protected:
    ConsoleTest()
    {
        ::setenv("TERM", "xterm", 1);
        ::unsetenv("NO_COLOR");
    }
};

TEST_F(ConsoleTest, HasColourOnATerminalAlone)
{
    const auto colours
        = [](Console& console) { console.data(console.bold("b") + console.good("g") + console.warning("w")); };
    EXPECT_EQ(onTerminal(colours), "\x1b[1mb\x1b[0m\x1b[32mg\x1b[0m\x1b[33mw\x1b[0m");
    ::setenv("NO_COLOR", "", 1); // counts only with a value
    EXPECT_NE(onTerminal(colours), "bgw");
    ::setenv("NO_COLOR", "1", 1);
    EXPECT_EQ(onTerminal(colours), "bgw");
    ::unsetenv("NO_COLOR");
    ::setenv("TERM", "dumb", 1);
    EXPECT_EQ(onTerminal(colours), "bgw");
    ::setenv("TERM", "xterm", 1);
    const StCapturedOutput captured;
    Console console("vellorin");
    colours(console);
    EXPECT_EQ(captured.out(), "bgw");
}

TEST_F(ConsoleTest, ShowsProgressAfterHalfASecond)
{
    const std::string shown = onTerminal([](Console& console) {
        console.progress("early");
        std::this_thread::sleep_for(300ms);
        console.progress("early");
        std::this_thread::sleep_for(300ms);
        console.progress("late\x1b", 1, 4);
        console.progress("too soon after", 2, 4);
        console.say("said");
    });
    EXPECT_EQ(shown, "\rlate\\x1b 25 %\x1b[K" + std::string(kProgressEnd) + "said\n");
}

TEST_F(ConsoleTest, ProgressFitsTheLineAndGoesAtTheEnd)
{
    const auto longLine = [](Console& console) {
        console.progress("x");
        std::this_thread::sleep_for(550ms);
        console.progress("reading a file of a long name", UINT64_MAX, UINT64_MAX);
    };
    EXPECT_EQ(onTerminal(longLine, "", 21), "\rreadin…ng name 100 %\x1b[K" + std::string(kProgressEnd));
    const auto quietly = [&](Console& console) {
        console.setManner({ .quiet = true });
        longLine(console);
    };
    EXPECT_EQ(onTerminal(quietly), "");
}

TEST_F(ConsoleTest, AsksAndTakesTheAnswer)
{
    const struct {
        const char* input;
        bool answer;
    } rows[] = { { "y\n", true }, { "yes\n", true }, { "Y\n", true }, { "\n", false }, { "n\n", false },
        { "yess\n", false }, { "\x04", false } }; // the end of the input
    for (const auto& row : rows) {
        const std::string shown = onTerminal(
            [](Console& console) { console.data(console.confirm("Go on?") ? "[yes]" : "[no]"); }, row.input);
        EXPECT_EQ(shown.substr(0, 13), "Go on? [y/N] ") << row.input;
        EXPECT_NE(shown.find(row.answer ? "[yes]" : "[no]"), std::string::npos) << row.input << shown;
    }
}

TEST_F(ConsoleTest, ASignalEndsAQuestion)
{
    const std::string shown = onTerminal([](Console& console) {
        installInterruptionHandlers();
        ::alarm(20); // should it not end
        const pid_t asked = ::getpid();
        const pid_t other = ::fork();
        if (other == 0) {
            std::this_thread::sleep_for(100ms);
            ::kill(asked, SIGTERM);
            ::_exit(0);
        }
        try {
            console.confirm("Go on?");
        } catch (const Interrupted& interruption) {
            console.data("signal " + std::to_string(interruption.signal()));
        }
        ::waitpid(other, nullptr, 0);
    });
    EXPECT_EQ(shown, "Go on? [y/N] signal 15");
}

TEST_F(ConsoleTest, AsksNobodyWhereNobodySits)
{
    // Standard input is a terminal, standard error isn't, and the other way round. Neither waits for an answer.
    for (const int descriptor : { STDIN_FILENO, STDERR_FILENO }) {
        const std::string shown = onTerminal([&](Console& console) {
            const StRedirected elsewhere(descriptor, ::open("/dev/null", O_RDWR));
            console.data(console.confirm("Go on?") ? "[yes]" : "[no]");
        });
        EXPECT_EQ(shown, "[no]");
    }
}

} // namespace
