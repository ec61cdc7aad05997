#pragma once

#include <chrono>

/// A signal asked the program to end. Thrown out of waits and long work, and caught by the program alone, so that
/// everything on the way is given back.
class Interrupted {
public:
    explicit Interrupted(int signal)
        : signal_(signal)
    {
    }
    int signal() const { return signal_; }

private:
    int signal_;
};

/// Makes SIGINT, SIGTERM and SIGHUP interrupt the program in the way of this header. A signal that was ignored when the
/// program started (nohup) stays ignored.
void installInterruptionHandlers();

/// Throws Interrupted if a signal has come.
void throwIfInterrupted();

/// Sleeps; a signal ends it by throwing Interrupted.
void sleepUnlessInterrupted(std::chrono::milliseconds duration);

/// Ends the program by the signal that interrupted it, so that whoever started it sees that.
[[noreturn]] void endBySignal(int signal);

/// A descriptor that becomes readable when a signal comes, for waits on several things; -1 without handlers.
int interruptionDescriptor();

/// While in scope, signals that have come before don't count: for the work that an interrupted run still owes. A
/// further signal does count.
class StForgetInterruptions {
public:
    StForgetInterruptions();
    ~StForgetInterruptions();
    StForgetInterruptions(const StForgetInterruptions&) = delete;
    StForgetInterruptions& operator=(const StForgetInterruptions&) = delete;

private:
    const int forgotten_;
};
