#pragma once

#include "AppleEvent.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Send modes. One of the first three, and flags.
inline constexpr int32_t kAENoReply = 1;
inline constexpr int32_t kAEQueueReply = 2;
inline constexpr int32_t kAEWaitReply = 3;
inline constexpr int32_t kAENeverInteract = 0x10;

inline constexpr int16_t kAENormalPriority = 0;

// Time-outs that are no number of ticks, of which a second has 60.
inline constexpr int32_t kAEDefaultTimeout = -1;
inline constexpr int32_t kNoTimeOut = -2;

/// How an event is sent; as it stands, in the way of almost all events.
struct AESendOptions {
    int32_t sendMode = kAEWaitReply;
    int16_t sendPriority = kAENormalPriority;
    int32_t timeOutInTicks = kAEDefaultTimeout;

    bool waitsForReply() const { return (sendMode & kAEWaitReply) != kAENoReply; }
    bool operator==(const AESendOptions&) const = default;
};

inline constexpr AESendOptions kReplyWithoutInteraction { kAEWaitReply | kAENeverInteract, kAENormalPriority,
    kAEDefaultTimeout };

/// Finds running programs, and sends them events.
class AppleEventSystem {
public:
    virtual ~AppleEventSystem() = default;

    /// The bundle identifiers of the running programs, in no order. Asking starts nothing; where there is no event
    /// system nobody is running.
    virtual std::vector<std::string> runningBundleIdentifiers() = 0;

    /// The process id of a running program; absent if it has ended since.
    virtual std::optional<uint32_t> processID(const std::string& bundleIdentifier) = 0;

    /// A running program other than this one whose bundle identifier equals the given one without regard to case.
    std::optional<ProcessSerialNumber> findProcess(const std::string& bundleIdentifier);

    /// Sends an event and waits for the reply, up to the default time-out of 60 seconds; 0 or an error. Throws
    /// Interrupted when a signal comes. The target is a process of which processID has told.
    virtual int16_t AESend(const AppleEvent& event, AppleEvent& reply) = 0;

    /// The same with options. Without a reply asked for, `reply` stays as it is and 0 says only that the event is under
    /// way. A system that knows of no options sends in its one way.
    virtual int16_t AESend(const AppleEvent& event, AppleEvent& reply, const AESendOptions& options);

    // Making events. A message can't carry everything; what is too large for one is absent, or an error.

    virtual std::optional<NSAppleEventDescriptor> listDescriptor();
    virtual std::optional<NSAppleEventDescriptor> descriptorWithDescriptorType(uint32_t type, const std::string& bytes);
    virtual int16_t AEPutParamDesc(AppleEvent& event, uint32_t keyword, const NSAppleEventDescriptor& descriptor);

    static constexpr std::size_t kLargestDescriptor = 1 << 26; // an array of the bus
};

/// What a program does with an event: fills in the reply.
using AppleEventHandler = std::function<void(const AppleEvent& event, AppleEvent& reply)>;

/// The receiving side: hands incoming events to handlers.
class NSAppleEventManager {
public:
    virtual ~NSAppleEventManager() = default;

    virtual void setEventHandler(AppleEventHandler handler, uint32_t eventClass, uint32_t eventID) = 0;
};

/// Events over the session bus (docs/hand-off.md), on the caller's thread.
///
/// A program runs if its bundle identifier is a name on the bus. Whether the environment names a bus is looked at when
/// this is made, and the bus library loaded then: a process that goes on to confine itself can't do so later. The bus is
/// asked when it is first needed; one that is absent, dead or silent counts as empty from then on.
///
/// Making one raises std::runtime_error where a bus is named and the library can't be loaded.
class LinuxAppleEventSystem final : public AppleEventSystem, public NSAppleEventManager {
public:
    struct TimeOuts {
        std::chrono::milliseconds bus { 5000 }; // for answers of the bus itself
        std::chrono::milliseconds reply { 60000 }; // for answers of another program
    };

    LinuxAppleEventSystem();
    explicit LinuxAppleEventSystem(const TimeOuts& timeOuts);
    ~LinuxAppleEventSystem() override;
    LinuxAppleEventSystem(const LinuxAppleEventSystem&) = delete;
    LinuxAppleEventSystem& operator=(const LinuxAppleEventSystem&) = delete;

    std::vector<std::string> runningBundleIdentifiers() override;
    std::optional<uint32_t> processID(const std::string& bundleIdentifier) override;
    int16_t AESend(const AppleEvent& event, AppleEvent& reply) override;

    /// Nobody interacts and there is one priority: of the options, no-reply and time-out count.
    int16_t AESend(const AppleEvent& event, AppleEvent& reply, const AESendOptions& options) override;

    void setEventHandler(AppleEventHandler handler, uint32_t eventClass, uint32_t eventID) override;

    /// Takes a bundle identifier on the bus, so that others find this program. False if the bus or the name can't be
    /// had.
    [[nodiscard]] bool becomeRunningProcess(const std::string& bundleIdentifier);

    /// Handles what has come in, after a wait of at most `wait` for the first. False once the bus is gone.
    /// Raises: what a handler raised, after the sender has been told of a failure.
    [[nodiscard]] bool handleEvents(std::chrono::milliseconds wait);

private:
    struct State;
    std::unique_ptr<State> state_;
};
