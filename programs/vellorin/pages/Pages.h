#pragma once

#include "CommandPage.h"

#include <string>
#include <vector>

// What is installed beside the program, made of the same pages as --help. Each answer is the whole text of a file.

/// One page for all commands, in mdoc: "vellorin-sync" is the name of another program's page already.
std::string manualPage(const std::vector<CommandPage>& pages);

std::string bashCompletion(const std::vector<CommandPage>& pages);
std::string zshCompletion(const std::vector<CommandPage>& pages);
std::string fishCompletion(const std::vector<CommandPage>& pages);
