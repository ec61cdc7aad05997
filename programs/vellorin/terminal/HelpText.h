#pragma once

#include "Command.h"

#include <string>
#include <string_view>
#include <vector>

// What the program tells of itself, made of the commands' pages: --help here, manual pages and completions in pages/.

inline constexpr char kProgramName[] = "vellorin";
inline constexpr char kProgramSummary[] = "keep copies of encrypted password vaults in step, without their passwords";

/// The options that every command has, without targets.
std::vector<Option> optionsOfEveryCommand();

/// Those of the program without a command.
std::vector<Option> optionsOfTheProgram();

/// "-o, --output FILE"
std::string formOf(const Option& option);

/// "FILE", "[FILE]", "FILE...", "[FILE...]"
std::string formOf(const Operand& operand);

std::string helpOf(const CommandPage& page);
std::string helpOfTheProgram(const std::vector<CommandPage>& pages);

/// The text in lines of at most `width` bytes where its words allow it, each behind `indent` spaces but the first.
std::string wrapped(std::string_view text, std::size_t width, std::size_t indent);
