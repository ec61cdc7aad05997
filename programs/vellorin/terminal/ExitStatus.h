#pragma once

#include <exception>
#include <string>
#include <utility>

/// What the program ends with. A signal ends it by that signal, which a shell shows as 128 and its number.
enum ExitStatus : int {
    kDone = 0,
    kLookAtIt = 1, // done, and there is something to look at: records kept twice, damage, a conflict, a difference
    kRefused = 2, // wrong usage, or refused before anything was changed
    kFailed = 3, // nothing was written
    kHalfWritten = 4 // one file was written and another was not
};

/// Ends a command with a message for the user on standard error.
///
/// A message says what failed, on which path, the system's words where there are some, and what was left as it was. It
/// may hold anything that stands in paths and files: it is made printable where it is shown.
class CommandFailure : public std::exception {
public:
    CommandFailure(ExitStatus status, std::string message)
        : status_(status)
        , message_(std::move(message))
    {
    }

    ExitStatus status() const { return status_; }
    const char* what() const noexcept override { return message_.c_str(); }

private:
    ExitStatus status_;
    std::string message_;
};
