#pragma once

#include "Command.h"

#include <string>
#include <vector>

/// Runs the command that the words name: parses with CLI11 by the commands' pages, answers --help and --version, maps
/// failures and signals to exit statuses. `arguments` are those behind the program's name.
///
/// Every failure ends here with a message on standard error: wrong usage and refusals with 2, a CommandFailure with its
/// own status, anything else with 3. After an interruption the answer is 128 and the signal's number, and the caller
/// ends the program by that signal. Log lines go to standard error with --verbose, and nowhere without.
///
/// Options may stand anywhere behind the command's name, `--` ends them, `-` alone is an operand. A word is taken as
/// the bytes that it is: no form of it is split, unquoted or read as anything else, and nothing is taken from the
/// environment or a file.
int runCommandLine(Commands commands, const std::vector<std::string>& arguments);
