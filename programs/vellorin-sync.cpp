// Synchronises two vault files: the host of the action on Linux.

#include "ConduitSynchronizeSender.h"
#include "DocumentLock.h"
#include "FilePaths.h"
#include "HostServices.h"
#include "Interruption.h"
#include "LockHolder.h"
#include "NSAutoreleasePool.h"
#include "NSException.h"
#include "NSLog.h"
#include "NSPathUtilities.h"
#include "Sandbox.h"
#include "StandardDescriptors.h"
#include "SynchronizeFiles.h"
#include "VLR_PooledMemory.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

constexpr int kSynchronized = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsageOrForeignFailure = 2;
constexpr int kNotReplaced = 3;

constexpr char kHelp[] = R"(usage: vellorin-sync [--quiet] [--] FIRST SECOND

Synchronises two encrypted vaults without their master password: afterwards both
files hold the records of both. Each file is replaced at one stroke.

  --quiet    no log lines on standard error
  --help, --version

Exit status: 0 synchronised; 1 failed (the reason is on standard output); 2 wrong
option or foreign failure; 3 merged, but a file could not be replaced.

example: vellorin-sync ~/vault.vlr /media/stick/vault.vlr
)";

struct Options {
    bool help = false;
    bool version = false;
    bool quiet = false;
    std::vector<std::string> paths;
};

void complain(const std::string& message)
{
    std::cerr << "vellorin-sync: " << message << '\n';
}

/// Absent after a message on standard error.
std::optional<Options> parseOptions(const std::vector<std::string>& arguments)
{
    Options options;
    bool optionsEnded = false;
    for (const std::string& argument : arguments) {
        if (optionsEnded || argument.size() < 2 || argument[0] != '-')
            options.paths.push_back(argument);
        else if (argument == "--")
            optionsEnded = true;
        else if (argument == "--help")
            options.help = true;
        else if (argument == "--version")
            options.version = true;
        else if (argument == "--quiet")
            options.quiet = true;
        else {
            complain("wrong option: " + argument + "\nTry --help.");
            return std::nullopt;
        }
    }
    return options;
}

/// A text that did not reach standard output was not told.
bool tell(const std::string& text)
{
    std::cout << text << std::flush;
    if (!std::cout)
        complain("can't write the result: " + text.substr(0, text.find('\n')));
    return bool { std::cout };
}

/// Gives back the locks and sends the stop events. What fails here comes too late for the result, and is told apart.
void endSenders(NSAutoreleasePool& pool)
{
    const StForgetInterruptions whileEnding; // what is owed is owed by an interrupted run too
    try {
        pool.drain();
    } catch (const NSException& exception) {
        complain(exception.reason());
    }
}

/// While in scope, a log that nobody reads any more and a file that may not grow are failed writes and no sudden death:
/// locks and temporary files must not outlive the program.
class StSurviveFailedWrites {
public:
    StSurviveFailedWrites()
        : pipeBefore(std::signal(SIGPIPE, SIG_IGN))
        , sizeBefore(std::signal(SIGXFSZ, SIG_IGN))
    {
    }
    ~StSurviveFailedWrites()
    {
        std::signal(SIGPIPE, pipeBefore);
        std::signal(SIGXFSZ, sizeBefore);
    }
    StSurviveFailedWrites(const StSurviveFailedWrites&) = delete;
    StSurviveFailedWrites& operator=(const StSurviveFailedWrites&) = delete;

private:
    using Handler = void (*)(int);

    const Handler pipeBefore;
    const Handler sizeBefore;
};

/// At its end it names the files that were backed up, which an interrupted run has done too.
class StTellOfBackups {
public:
    explicit StTellOfBackups(const HostServices& services)
        : services(services)
    {
    }
    ~StTellOfBackups()
    {
        try {
            for (const HostServices::BackedUp& file : services.backedUp())
                complain(file.path + ": " + file.report);
        } catch (const std::bad_alloc&) {
            return; // the backups are there, and there is no memory to tell of them
        }
    }
    StTellOfBackups(const StTellOfBackups&) = delete;
    StTellOfBackups& operator=(const StTellOfBackups&) = delete;

private:
    const HostServices& services;
};

/// One run of the action and the end of its senders; the result text.
std::string runAction(HostServices& services, const std::vector<std::string>& paths)
{
    const StSurviveFailedWrites duringTheRun;
    const StTellOfBackups howeverItEnds(services);
    SynchronizeFiles action(services.forAction());
    NSAutoreleasePool senders;
    try {
        AMErrorDictionary error;
        const std::string result = action.runWithInput(AMInput(paths), nullptr, error);
        endSenders(senders);
        return result;
    } catch (...) {
        endSenders(senders);
        throw;
    }
}

/// From here on the process reaches the folders of these files and nothing else, should a vault take hold of it.
/// Without a kernel that can do so it goes on as it is.
void confineToFoldersOf([[maybe_unused]] const std::vector<std::string>& paths)
{
#ifdef VELLORIN_CONFINED
    static_cast<void>(Sandbox::restrictToFoldersOfFiles(paths));
#endif
}

/// 0 if there is none.
int reasonAgainstWritingIn(const std::string& folder)
{
    return ::access(folder.c_str(), W_OK | X_OK) == 0 ? 0 : errno;
}

/// The result asks for a program to be closed. Where it crashed there is none, and its lock has to be broken. Where no
/// lock could be made the result is the same.
void tellOfLock(const std::string& path)
{
    const std::string lock = *DocumentLock::lockPath(absolutePath(path));
    const std::optional<LockHolder> holder = holderOfLock(lock);
    const int reason
        = !holder && errno != ENOENT ? errno : reasonAgainstWritingIn(stringByDeletingLastPathComponent(lock));
    if (!holder && reason != 0)
        complain(path + ": its lock " + lock + " can't be made: " + std::strerror(reason));
    if (holder && holder->isPlainLock) // anything else of that name is not to be broken
        complain(path + ": its lock is " + lock + "; if no program has the vault open, \"vellorin unlock " + path
            + "\" breaks the lock");
}

int synchronize(const std::vector<std::string>& paths)
{
    HostServices services;
    confineToFoldersOf(paths); // the services have asked the system what they need to know
    const std::string result = runAction(services, paths);
    for (const HostServices::NotReplaced& file : services.notReplaced())
        complain(file.path + ": " + file.reason);
    if (result.find(kOpenByAnotherProgram) != std::string::npos)
        std::for_each(paths.begin(), paths.end(), tellOfLock);
    if (!tell(result + '\n'))
        return kWrongUsageOrForeignFailure;
    if (result != SynchronizeFiles::kSuccess)
        return kFailed;
    return services.notReplaced().empty() ? kSynchronized : kNotReplaced;
}

int runWith(const Options& options)
{
    if (options.help || options.version)
        return tell(options.help ? kHelp : "vellorin-sync " VELLORIN_VERSION "\n") ? kSynchronized
                                                                                   : kWrongUsageOrForeignFailure;
    installInterruptionHandlers();
    if (options.quiet)
        silenceLog();
    return synchronize(options.paths);
}

} // namespace

int main(int argc, char** argv)
{
#ifdef VELLORIN_POOLED_MEMORY
    VLR_SetRawMemory(VLR_PooledMemory());
#endif
    occupyStandardDescriptors();
    const std::optional<Options> options = parseOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (!options)
        return kWrongUsageOrForeignFailure;
    try {
        return runWith(*options);
    } catch (const Interrupted& interruption) {
        endBySignal(interruption.signal());
    } catch (const std::exception& exception) {
        complain(exception.what());
    } catch (...) {
        complain("unknown failure");
    }
    return kWrongUsageOrForeignFailure;
}
