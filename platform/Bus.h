#pragma once

#include "BusLibrary.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct MessageRelease {
    void operator()(sd_bus_message* message) const { busCalls().message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, MessageRelease>;

/// What came of a call: a reply, or the name of an error.
struct BusAnswer {
    BusMessage reply;
    std::string error; // empty for a reply
};

/// A connection to the session bus, used from one thread that waits itself: no wait outlasts its time-out, and a signal
/// ends it. A connection that has failed once stays failed.
class Bus {
public:
    using Duration = std::chrono::milliseconds;

    /// `busTimeOut` bounds the answers of the bus itself. Raises: std::runtime_error, as loadBusIfWanted does.
    explicit Bus(Duration busTimeOut);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    bool isUsable() const { return bus_ != nullptr; }

    /// Null if the bus is not usable. The call starts no program, unless its maker changes that.
    BusMessage newCall(const std::string& destination, const char* object, const char* interface, const char* method);

    /// Sends a call and waits for its answer. Throws Interrupted.
    BusAnswer call(sd_bus_message* message, Duration timeOut);

    /// Sends a call whose answer nobody wants. False once the bus is gone.
    [[nodiscard]] bool post(sd_bus_message* message);

    // Questions to the bus itself; absent or empty where it has no answer.

    std::vector<std::string> names();
    std::vector<std::string> activatableNames(); // of programs that the bus starts when they are called
    std::optional<std::string> ownerOf(const std::string& name);
    std::optional<uint32_t> processOf(const std::string& name);

    // The serving side

    [[nodiscard]] bool takeName(const std::string& name);
    [[nodiscard]] bool serve(const char* object, const char* interface, const sd_bus_vtable* methods, void* context);

    /// Waits for at most `wait` and hands out what has come in, on a busy bus what there is time for. False once the
    /// bus is gone. Throws Interrupted.
    [[nodiscard]] bool handleIncoming(Duration wait);

    /// An error name of the bus for a wait that ran out, and for a connection that is gone.
    static constexpr char kTimedOut[] = "org.freedesktop.DBus.Error.Timeout";
    static constexpr char kDisconnected[] = "org.freedesktop.DBus.Error.Disconnected";

private:
    using Clock = std::chrono::steady_clock;

    BusAnswer ask(const char* method, const std::string& argument);
    std::vector<std::string> askForNames(const char* method);
    int processOnce();
    void waitForTraffic(Clock::time_point deadline);
    void disconnect();

    Duration busTimeOut_;
    sd_bus* bus_ = nullptr;
};
