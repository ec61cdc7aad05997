// The program for people: one command for each thing that is done with vaults without their passwords.

#include "AllCommands.h"
#include "CommandLine.h"
#include "Interruption.h"
#include "StandardDescriptors.h"
#include "VLR_PooledMemory.h"

#include <csignal>

namespace {

constexpr int kFirstStatusOfSignals = 128;

/// A reader that has gone and a file that may not grow are failed writes and no sudden death: locks and temporary files
/// must not outlive the program.
void surviveFailedWrites()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
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
