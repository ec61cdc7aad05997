#pragma once

#include "AppleEvent.h"
#include "NSAutoreleasePool.h"

#include <cstdint>
#include <memory>
#include <string>

class AppleEventSystem;
class CFClock;
class DocumentLock;
class LockSystem;
class NSFileManager;

/// What a sender works with; everything is borrowed and outlives it.
struct ConduitServices {
    AppleEventSystem& events;
    LockSystem& locks;
    NSFileManager& files;
    const CFClock& clock;
};

/// How the failure to get a lock begins, for hosts that say more about it.
inline constexpr char kOpenByAnotherProgram[] = "It appears your Vellorin file is open by another program.";

/// Asked between the attempts to take a lock.
class ConduitSynchronizeSenderDelegate {
public:
    /// `secondsLeft` is a whole number. True: go on waiting; false: stop, without the lock and without a failure. The
    /// answer's time is all that paces the attempts.
    virtual bool startSyncIdling(int64_t secondsLeft) = 0;

protected:
    ~ConduitSynchronizeSenderDelegate() = default;
};

/// Our end of the hand-off for one file: asks a running application to let go of it, holds its write lock, and tells
/// the application at its own end that the file may be used again.
///
/// A sender belongs to the autorelease scope in which it was made and works until that ends: the lock is given back
/// first, then a stop event is sent if one is owed. It is owed if the start event was answered with yes, unless the
/// wait for the lock ran out: then it is as if the application had never let go. All failures are NSExceptions whose
/// name is the operation and a fixed line, and whose reason is for people.
class ConduitSynchronizeSender final : public NSAutoreleased {
public:
    /// Makes a sender, runs its start exchange and takes the lock. `targetURLString` is the file as a URL. A sender
    /// whose start fails is left to the scope all the same, for the stop event that it may owe.
    /// Raises: what the steps raise. Throws Interrupted when a signal comes.
    static std::shared_ptr<ConduitSynchronizeSender> conduitSynchronizeSenderWithFilePath(
        const std::string& targetURLString, ConduitSynchronizeSenderDelegate& delegate,
        const ConduitServices& services);

    ~ConduitSynchronizeSender() override;

    /// Fills in the event. False if no application is running, which is looked for anew each time.
    bool createSynchronizationEvent(AppleEvent& event, uint32_t eventID) const;

    void sendStartSynchronizationEvent();
    void sendStopSynchronizationEvent();

    /// Waits for the lock for up to 15 seconds.
    void lockDocument();
    void unlockDocument();

    bool sendEndSynchronization() const { return sendEndSynchronization_; }

    /// Gives back the lock and sends the stop event, if owed.
    void dealloc() override;

private:
    ConduitSynchronizeSender(const std::string& targetURLString, ConduitSynchronizeSenderDelegate& delegate,
        const ConduitServices& services);

    bool sendEndSynchronization_ = false; // a stop event is owed
    std::string targetURLString_;
    std::unique_ptr<DocumentLock> documentLock_;
    ConduitSynchronizeSenderDelegate& delegate_;
    ConduitServices services_;
};
