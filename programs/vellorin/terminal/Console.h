#pragma once

#include "ExitStatus.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

/// Where a command's words go: data to standard output, all else to standard error.
///
/// Colour and progress are for terminals alone (and NO_COLOR holds); a question is asked only where somebody sits at
/// both ends. What comes out of files is passed through `printable` by whoever puts it into a text.
class Console {
public:
    struct Manner {
        bool quiet = false; // nothing but failures and data
        bool verbose = false;
        bool timed = false; // each line on standard error begins with the time: for a program that runs for days
        bool asks = true; // false: nobody is asked, not even at a terminal
    };

    /// `programName` stands in front of failures.
    explicit Console(std::string programName);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    void setManner(const Manner& manner) { manner_ = manner; }
    const Manner& manner() const { return manner_; }

    /// To standard output at once, as it is; a long list goes out faster as one text. Raises: CommandFailure with the
    /// status of lost output (kFailed) if it could not be written. Throws Interrupted with SIGPIPE if the reader has
    /// gone, so that all is given back before the program ends by that signal. Expects SIGPIPE to be ignored.
    void data(std::string_view text);

    /// From here on the files are as the command wanted them: output that can't be written, or memory that runs out,
    /// ends the program with kLookAtIt, since kFailed would say that nothing was written.
    void workIsDone() { statusOfLostOutput_ = kLookAtIt; }
    ExitStatus statusOfLostOutput() const { return statusOfLostOutput_; }

    /// To standard error with a line end, unless quiet: what was done.
    void say(const std::string& text);

    /// The same, only if verbose: how it was done.
    void detail(const std::string& text);

    /// The same, always: what went wrong, behind the program's name.
    void complain(const std::string& text);

    /// The same of a failure that came too late for a result, behind `begin`. Without memory it says no more than that.
    void complainOf(const std::exception& failure, std::string_view begin = {}) noexcept;

    /// What is going on at present: one line on a terminal, from half a second after the first call on. It goes before
    /// anything else is written, and at the end. `part` of `whole`; 0 of 0 if that isn't known. Call it as often as you
    /// like.
    void progress(const std::string& what, uint64_t part = 0, uint64_t whole = 0);

    /// The user's answer to a yes-or-no question; false at once where standard input or standard error is no terminal.
    /// Throws Interrupted.
    bool confirm(const std::string& question);

    // The text with the terminal's codes around it where standard output is a terminal, else as it is. For data alone.

    std::string bold(const std::string& text) const;
    std::string good(const std::string& text) const;
    std::string warning(const std::string& text) const;

private:
    using Clock = std::chrono::steady_clock;

    void line(const std::string& text);
    void clearProgress();
    std::string coloured(const char* code, const std::string& text) const;

    const std::string programName_;
    Manner manner_;
    ExitStatus statusOfLostOutput_ = kFailed;
    const bool colour_;
    const bool progressOnTerminal_;
    bool progressShown_ = false;
    Clock::time_point progressSince_ {}; // of the first call
    Clock::time_point progressDrawn_ {};
};

/// The text with everything that could steer a terminal or disguise a name made visible: control characters, marks of
/// direction, characters that show nothing and bytes that aren't UTF-8, each as an escape like \x1b or \u202e, and a
/// backslash as two. It is one line.
std::string printable(std::string_view text);

/// The same, at most `columns` wide, with "…" where something was left out: in the middle, between whole escapes.
std::string printable(std::string_view text, std::size_t columns);

/// How wide a terminal shows a printable text.
std::size_t columnsOf(std::string_view text);

/// The text with spaces behind it, so that it is that wide; a wider one as it is.
std::string padded(std::string text, std::size_t columns);

/// "1 record", "2 records"; with digits in groups of three from five digits on ("100,000").
std::string counted(uint64_t number, const std::string& singular, const std::string& plural);
std::string grouped(uint64_t number);
