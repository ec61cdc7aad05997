#include "AllCommands.h"

Commands allCommands()
{
    Commands commands;
#ifdef VELLORIN_HAS_Info
    commands.push_back(infoCommand());
#endif
#ifdef VELLORIN_HAS_Diff
    commands.push_back(diffCommand());
#endif
#ifdef VELLORIN_HAS_Check
    commands.push_back(checkCommand());
#endif
#ifdef VELLORIN_HAS_Sync
    commands.push_back(syncCommand());
#endif
#ifdef VELLORIN_HAS_Resolve
    commands.push_back(resolveCommand());
#endif
#ifdef VELLORIN_HAS_Watch
    commands.push_back(watchCommand());
#endif
#ifdef VELLORIN_HAS_Merge
    commands.push_back(mergeCommand());
#endif
#ifdef VELLORIN_HAS_MergeDriver
    commands.push_back(mergeDriverCommand());
#endif
#ifdef VELLORIN_HAS_GitSetup
    commands.push_back(gitSetupCommand());
#endif
#ifdef VELLORIN_HAS_Undo
    commands.push_back(undoCommand());
#endif
#ifdef VELLORIN_HAS_Explain
    commands.push_back(explainCommand());
#endif
#ifdef VELLORIN_HAS_Unlock
    commands.push_back(unlockCommand());
#endif
#ifdef VELLORIN_HAS_Sample
    commands.push_back(sampleCommand());
#endif
    return commands;
}
