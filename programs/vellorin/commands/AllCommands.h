#pragma once

#include "Command.h"

// One file for each command, in the order in which --help lists them.

std::unique_ptr<Command> infoCommand();
std::unique_ptr<Command> diffCommand();
std::unique_ptr<Command> checkCommand();
std::unique_ptr<Command> syncCommand();
std::unique_ptr<Command> resolveCommand();
std::unique_ptr<Command> watchCommand();
std::unique_ptr<Command> mergeCommand();
std::unique_ptr<Command> mergeDriverCommand();
std::unique_ptr<Command> gitSetupCommand();
std::unique_ptr<Command> undoCommand();
std::unique_ptr<Command> explainCommand();
std::unique_ptr<Command> unlockCommand();
std::unique_ptr<Command> sampleCommand();

Commands allCommands();
