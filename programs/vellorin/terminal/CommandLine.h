#pragma once

#include "Command.h"

#include <string>
#include <vector>

/// Runs the command that the words name: parses with CLI11 by the commands' pages, answers --help and --version, maps
/// failures and signals to exit statuses. `arguments` are those behind the program's name.
///
/// Every failure ends here with a message on standard error: wrong usage and refusals with 2, a CommandFailure with its
/// own status, anything else with 3.
int runCommandLine(Commands commands, const std::vector<std::string>& arguments);
