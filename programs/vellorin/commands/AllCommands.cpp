#include "AllCommands.h"

Commands allCommands()
{
    constexpr std::unique_ptr<Command> (*kMakers[])()
        = { infoCommand, diffCommand, checkCommand, syncCommand, resolveCommand, watchCommand, mergeCommand,
              mergeDriverCommand, gitSetupCommand, undoCommand, explainCommand, unlockCommand, sampleCommand };
    Commands commands;
    for (const auto make : kMakers)
        commands.push_back(make());
    return commands;
}
