#pragma once

#include "AppleEvent.h"
#include "NSURL.h"

#include <memory>
#include <optional>

class NSAppleEventManager;

/// What an application does when a file of its is to be synchronised. The URL is absent if the event brought none that
/// is usable.
class ConduitSynchronizeReceiverDelegate {
public:
    /// Let go of the file. The answer says whether a stop event is wanted; absent counts as no.
    virtual std::optional<bool> syncStartForFile(const std::optional<NSURL>& file) = 0;

    /// The file may be used again.
    virtual void syncStopForFile(const std::optional<NSURL>& file) = 0;

protected:
    ~ConduitSynchronizeReceiverDelegate() = default;
};

/// The application's end of the hand-off: turns the two events into two calls.
class ConduitSynchronizeReceiver {
public:
    /// Installs the handler for both events. The receiver must live as long as `manager` hands out events, and both
    /// arguments as long as the receiver.
    static std::unique_ptr<ConduitSynchronizeReceiver> conduitSynchronizeReceiver(
        ConduitSynchronizeReceiverDelegate& delegate, NSAppleEventManager& manager);

    /// The handler. The reply is a boolean: the delegate's answer to a start, false to anything else. Raises nothing of
    /// its own.
    void receiveSyncAppleEvent(const AppleEvent& event, AppleEvent& replyEvent);

private:
    explicit ConduitSynchronizeReceiver(ConduitSynchronizeReceiverDelegate& delegate)
        : delegate_(delegate)
    {
    }

    ConduitSynchronizeReceiverDelegate& delegate_;
};
