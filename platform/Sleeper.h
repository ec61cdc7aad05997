#pragma once

#include <chrono>

/// What lets a program pause.
class Sleeper {
public:
    virtual ~Sleeper() = default;

    virtual void sleep(std::chrono::microseconds duration) = 0;
};

/// Real pauses, of whole milliseconds, rounded up. A signal ends one by throwing Interrupted (Interruption.h).
class LinuxSleeper final : public Sleeper {
public:
    void sleep(std::chrono::microseconds duration) override;
};
