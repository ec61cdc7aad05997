#include "Interruption.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <limits>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr int kFirstStatusOfSignals = 128; // in a shell

// A handler may touch these and nothing else.
std::atomic<int> gPendingSignal = 0;
static_assert(std::atomic<int>::is_always_lock_free);
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
        struct sigaction action { };
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
    const int signal = gPendingSignal;
    if (signal != 0)
        throw Interrupted(signal);
}

void sleepUnlessInterrupted(std::chrono::milliseconds duration)
{
    throwIfInterrupted();
    pollfd waitFor { gDescriptor, POLLIN, 0 };
    constexpr std::chrono::milliseconds kLongest { std::numeric_limits<int>::max() };
    ::poll(&waitFor, 1, static_cast<int>(std::min(duration, kLongest).count()));
    throwIfInterrupted();
}

void endBySignal(int signal)
{
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::_Exit(kFirstStatusOfSignals + signal); // if it is blocked
}

int interruptionDescriptor()
{
    return gDescriptor;
}

StForgetInterruptions::StForgetInterruptions()
    : forgotten_(gPendingSignal.exchange(0))
{
    drainDescriptor(); // a signal that comes between stands in the flag, at which every wait looks first
}

StForgetInterruptions::~StForgetInterruptions()
{
    int none = 0;
    gPendingSignal.compare_exchange_strong(none, forgotten_); // one that has come meanwhile stays
}
