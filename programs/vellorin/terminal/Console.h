#pragma once

#include <chrono>
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
    };

    /// `programName` stands in front of what goes to standard error.
    explicit Console(std::string programName);
    void setManner(const Manner& manner) { manner_ = manner; }
    const Manner& manner() const { return manner_; }

    /// To standard output, as it is. Raises: CommandFailure with kFailed if it could not be written (a full device); a
    /// reader that has gone ends the program quietly by SIGPIPE's status.
    void data(std::string_view text);

    /// To standard error with a line end, unless quiet: what was done.
    void say(const std::string& text);

    /// The same, only if verbose: how it was done.
    void detail(const std::string& text);

    /// The same, always: what went wrong, behind the program's name.
    void complain(const std::string& text);

    /// What is going on at present: one line on a terminal, from half a second after the first call on. It goes before
    /// anything else is written. `part` of `whole`; 0 of 0 if that isn't known.
    void progress(const std::string& what, uint64_t part = 0, uint64_t whole = 0);

    /// The user's answer to a yes-or-no question; false at once where standard input or standard error is no terminal.
    bool confirm(const std::string& question);

    // The text with the terminal's codes around it where standard output is a terminal, else as it is.

    std::string bold(const std::string& text) const;
    std::string good(const std::string& text) const;
    std::string warning(const std::string& text) const;

private:
    void clearProgress();
    std::string coloured(const char* code, const std::string& text) const;

    std::string programName_;
    Manner manner_;
    bool colour_;
    bool progressOnTerminal_;
    bool progressShown_ = false;
    std::chrono::steady_clock::time_point progressSince_ {};
};

/// The text with everything that could steer a terminal or disguise a name made visible: control characters, marks of
/// direction and bytes that aren't UTF-8, each as an escape like \x1b or \u202e, and a backslash as two.
std::string printable(std::string_view text);

/// The same, at most `columns` wide, with "…" where something was left out.
std::string printable(std::string_view text, std::size_t columns);

/// "1 record", "2 records"; with digits in groups of three from five digits on ("100,000").
std::string counted(uint64_t number, const std::string& singular, const std::string& plural);
std::string grouped(uint64_t number);
