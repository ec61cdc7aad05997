// The program for people: one command for each thing that is done with vaults without their passwords.

#include "AllCommands.h"
#include "CommandLine.h"
#include "Interruption.h"
#include "VLR_PooledMemory.h"

#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kFirstStatusOfSignals = 128;

/// A program that is started without one of these would write its words into the next file that it opens.
void occupyStandardDescriptors()
{
    for (const int descriptor : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO }) {
        if (::fcntl(descriptor, F_GETFD) < 0 && ::open("/dev/null", O_RDONLY) != descriptor)
            std::abort();
    }
}

/// A reader that has gone and a file that may not grow are failed writes and no sudden death: locks and temporary files
/// must not outlive the program.
void surviveFailedWrites()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

/// Ends by the signal that ended the command, so that whoever started the program sees it.
[[noreturn]] void endBySignal(int signal)
{
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::_Exit(kFirstStatusOfSignals + signal); // if it is blocked
}

} // namespace

int main(int argc, char** argv)
{
#ifdef VELLORIN_POOLED_MEMORY
    VLR_SetRawMemory(VLR_PooledMemory());
#endif
    occupyStandardDescriptors();
    surviveFailedWrites();
    installInterruptionHandlers();
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    const int status = runCommandLine(allCommands(), arguments);
    if (status > kFirstStatusOfSignals)
        endBySignal(status - kFirstStatusOfSignals);
    return status;
}
