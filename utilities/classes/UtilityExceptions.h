#pragma once

#include <string>

// The two forms in which the utilities raise.

/// NSInternalInconsistencyException, its reason formed with "%@, method: %@, file: %s, line: %d" from message,
/// operation, source name and line. The lines are fixed: reports are compared by them.
[[noreturn]] void raiseInconsistency(const std::string& message, const std::string& method, int line);
[[noreturn]] void raiseInconsistency(
    const std::string& message, const std::string& method, const std::string& sourceName, int line);

/// An exception named by placeText, whose reason is the message itself.
[[noreturn]] void raisePlain(const std::string& operation, int line, const std::string& message);

/// "%s:%d" from an operation's full name and a line: the name of the other form, and a log line's text.
std::string placeText(const std::string& operation, int line);
