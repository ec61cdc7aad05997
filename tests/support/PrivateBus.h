#pragma once

#include "ScratchFolder.h"

#include <functional>
#include <string>

#include <sys/types.h>

/// A session bus of the test's own, which DBUS_SESSION_BUS_ADDRESS names while it lives.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    bool isRunning() const { return !address_.empty(); }
    const std::string& address() const { return address_; }

private:
    ScratchFolder folder_;
    std::string address_;
    pid_t daemon_ = -1;
};

/// A bus that takes connections and never says a word; DBUS_SESSION_BUS_ADDRESS names it from then on.
class SilentBus {
public:
    SilentBus();
    ~SilentBus();
    SilentBus(const SilentBus&) = delete;
    SilentBus& operator=(const SilentBus&) = delete;

private:
    ScratchFolder folder_;
    int descriptor_;
};

/// A second process, which runs `work` and exits with its result; the constructor returns when `work` has called the
/// function that it is given. Killed at the end of the scope if it still runs.
class SecondProcess {
public:
    explicit SecondProcess(const std::function<int(const std::function<void()>& isReady)>& work);
    ~SecondProcess();
    SecondProcess(const SecondProcess&) = delete;
    SecondProcess& operator=(const SecondProcess&) = delete;

    pid_t pid() const { return pid_; }

    /// Waits for its end; its exit status.
    int wait();

private:
    pid_t pid_ = -1;
};
