#include "ActionRun.h"

#include "ActionFailure.h"
#include "Console.h"
#include "ExitStatus.h"
#include "FilePaths.h"
#include "Interruption.h"

ActionPartners& linuxPartners()
{
    static LinuxAppleEventSystem events;
    static LinuxLockSystem locks;
    static const LinuxClock clock;
    static ActionPartners partners { events, locks, clock, pauseUnlessInterrupted };
    return partners;
}

void endSenders(NSAutoreleasePool& senders, Console& console)
{
    const StForgetInterruptions whileEnding; // what is owed is owed by an interrupted run too
    try {
        senders.drain();
    } catch (const std::exception& exception) {
        console.complainOf(exception);
    } catch (const Interrupted&) {
        return; // a further signal: it stays noted, and ends the program behind all that is still to be given back
    }
}

ActionRun::StagingFileManager::StagingFileManager(const SyncPlan& plan, StagedFiles& staged)
    : plan(plan)
    , staged(staged)
    , firstPath(absolutePath(plan.first.path))
    , secondPath(absolutePath(plan.second.path))
{
}

std::optional<NSData> ActionRun::StagingFileManager::dataWithContentsOfFile(const std::string& path)
{
    throwIfInterrupted();
    const PlannedFile& planned = path == firstPath ? plan.first : plan.second;
    if (!(staged.read(path) == planned.bytes()))
        throw FileChanged(path);
    return planned.bytes(); // the same ones, and already in memory
}

bool ActionRun::StagingFileManager::writeToFile(const NSData& data, const std::string& path, std::string*)
{
    (path == firstPath ? newFirst : newSecond) = staged.stage(path, data);
    newSelves.emplace_back(path, staged.newPath());
    return true;
}

ActionRun::ActionRun(const ActionPartners& partners, const SyncPlan& plan, StagedFiles& staged, Console& console)
    : plan_(plan)
    , console_(console)
    , files_(plan, staged)
    , action_(
          { { partners.events, partners.locks, files_, partners.clock }, alerts_, partners.pauseBetweenLockAttempts })
{
}

ActionRun::~ActionRun()
{
    end();
}

void ActionRun::run()
{
    AMErrorDictionary error;
    const std::string result = action_.runWithInput(
        AMInput(std::vector<std::string> { plan_.first.path, plan_.second.path }), nullptr, error);
    files_.newSelves.clear();
    if (result != SynchronizeFiles::kSuccess)
        throw CommandFailure(
            kFailed, inWords(result, { plan_.first.path, plan_.second.path }) + "; no file was changed");
}

void ActionRun::end()
{
    endSenders(senders_, console_);
}
