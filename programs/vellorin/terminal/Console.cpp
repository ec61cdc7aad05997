#include "Console.h"

#include "Interruption.h"
#include "TimeText.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds kPatience { 500 }; // before work counts as long
constexpr std::chrono::milliseconds kBetweenDrawings { 100 };

bool isSet(const char* variable)
{
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool isTerminal(int descriptor)
{
    const char* const kind = std::getenv("TERM");
    return ::isatty(descriptor) != 0 && (kind == nullptr || std::strcmp(kind, "dumb") != 0);
}

/// All of it, unless the system says no; 0 or errno.
int writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd waitFor { descriptor, POLLOUT, 0 };
            ::poll(&waitFor, 1, -1); // somebody left the description without waiting
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

/// What can't be told can't be told.
void writeToStandardError(std::string_view text)
{
    static_cast<void>(writeAll(STDERR_FILENO, text));
}

std::size_t columnsOfTerminal()
{
    winsize size {};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

/// False at the end of the input.
bool readLine(std::string& line)
{
    for (char c = 0; c != '\n';) {
        pollfd waitFor[] = { { STDIN_FILENO, POLLIN, 0 }, { interruptionDescriptor(), POLLIN, 0 } };
        ::poll(waitFor, 2, -1);
        throwIfInterrupted();
        if (waitFor[0].revents == 0)
            continue;
        const ssize_t count = ::read(STDIN_FILENO, &c, 1);
        if (count == 0 || (count < 0 && errno != EINTR))
            return false;
        if (count > 0)
            line += c;
    }
    return true;
}

} // namespace

Console::Console(std::string programName)
    : programName_(std::move(programName))
    , colour_(isTerminal(STDOUT_FILENO) && !isSet("NO_COLOR"))
    , progressOnTerminal_(isTerminal(STDERR_FILENO))
{
}

Console::~Console()
{
    clearProgress();
}

void Console::data(std::string_view text)
{
    clearProgress();
    const int error = writeAll(STDOUT_FILENO, text);
    if (error == EPIPE)
        throw Interrupted(SIGPIPE);
    if (error != 0)
        throw CommandFailure(
            statusOfLostOutput_, std::string("can't write to standard output: ") + std::strerror(error));
}

void Console::say(const std::string& text)
{
    if (!manner_.quiet)
        line(text);
}

void Console::detail(const std::string& text)
{
    if (manner_.verbose)
        line(text);
}

void Console::complain(const std::string& text)
{
    line(programName_ + ": " + text);
}

void Console::complainOf(const std::exception& failure, std::string_view begin) noexcept
{
    try {
        complain(std::string(begin) + printable(failure.what()));
    } catch (const std::exception&) {
        writeToStandardError(programName_);
        writeToStandardError(": out of memory\n");
    }
}

void Console::line(const std::string& text)
{
    clearProgress();
    writeToStandardError((manner_.timed ? localTimeText(std::time(nullptr)) + " " : "") + text + '\n');
}

void Console::progress(const std::string& what, uint64_t part, uint64_t whole)
{
    if (!progressOnTerminal_ || manner_.quiet)
        return;
    const Clock::time_point now = Clock::now();
    if (progressSince_ == Clock::time_point())
        progressSince_ = now;
    if (now - progressSince_ < kPatience || (progressShown_ && now - progressDrawn_ < kBetweenDrawings))
        return;
    std::string share;
    if (whole > 0)
        share.append(" ").append(std::to_string(static_cast<unsigned>(100.0L * part / whole))).append(" %");
    // The last column stays free: a character there makes some terminals begin a new line.
    const std::size_t room = columnsOfTerminal() - 1;
    std::string line = "\r";
    line.append(printable(what, room > share.size() ? room - share.size() : 0)).append(share).append("\x1b[K");
    writeToStandardError(line);
    progressShown_ = true;
    progressDrawn_ = now;
}

void Console::clearProgress()
{
    if (std::exchange(progressShown_, false))
        writeToStandardError("\r\x1b[K");
}

bool Console::confirm(const std::string& question)
{
    if (!manner_.asks || ::isatty(STDIN_FILENO) == 0 || ::isatty(STDERR_FILENO) == 0)
        return false;
    clearProgress();
    writeToStandardError(question + " [y/N] ");
    std::string answer;
    if (!readLine(answer)) {
        writeToStandardError("\n");
        return false;
    }
    return answer == "y\n" || answer == "Y\n" || answer == "yes\n" || answer == "Yes\n";
}

std::string Console::bold(const std::string& text) const
{
    return coloured("1", text);
}

std::string Console::good(const std::string& text) const
{
    return coloured("32", text);
}

std::string Console::warning(const std::string& text) const
{
    return coloured("33", text);
}

std::string Console::coloured(const char* code, const std::string& text) const
{
    return colour_ ? std::string("\x1b[") + code + "m" + text + "\x1b[0m" : text;
}
