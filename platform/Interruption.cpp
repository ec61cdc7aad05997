#include "Interruption.h"

#include <cerrno>
#include <csignal>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

// A handler may touch these and nothing else.
volatile std::sig_atomic_t gPendingSignal = 0;
int gDescriptor = -1;

extern "C" void noteSignal(int signal)
{
    const int errorOfWhatIsInterrupted = errno;
    gPendingSignal = signal;
    const eventfd_t one = 1;
    if (::write(gDescriptor, &one, sizeof one) < 0)
        gPendingSignal = signal; // the flag alone must do
    errno = errorOfWhatIsInterrupted;
}

void drainDescriptor()
{
    eventfd_t count = 0;
    if (gDescriptor >= 0 && ::eventfd_read(gDescriptor, &count) < 0)
        return; // it was not set
}

} // namespace

void installInterruptionHandlers()
{
    if (gDescriptor < 0)
        gDescriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    for (const int signal : { SIGINT, SIGTERM, SIGHUP }) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
            continue;
        action = {};
        action.sa_handler = noteSignal;
        ::sigemptyset(&action.sa_mask);
        ::sigaction(signal, &action, nullptr); // without SA_RESTART: a signal ends a system call
    }
}

void throwIfInterrupted()
{
    if (gPendingSignal != 0)
        throw Interrupted(gPendingSignal);
}

void sleepUnlessInterrupted(std::chrono::milliseconds duration)
{
    throwIfInterrupted();
    pollfd waitFor { gDescriptor, POLLIN, 0 };
    ::poll(&waitFor, 1, static_cast<int>(duration.count()));
    throwIfInterrupted();
}

int interruptionDescriptor()
{
    return gDescriptor;
}

StForgetInterruptions::StForgetInterruptions()
    : forgotten_(std::exchange(gPendingSignal, 0))
{
    drainDescriptor();
}

StForgetInterruptions::~StForgetInterruptions()
{
    if (gPendingSignal == 0)
        gPendingSignal = forgotten_;
}
