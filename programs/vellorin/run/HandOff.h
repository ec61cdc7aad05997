#pragma once

#include "ActionRun.h"

#include <string>

/// Files that are in our hands without the action: a running application has let go of them and their write locks are
/// held, as the action does it, until the end of the object.
class HandOff final : private ConduitSynchronizeSenderDelegate {
public:
    /// Borrows both.
    HandOff(const ActionPartners& partners, Console& console)
        : partners_(partners)
        , console_(console)
    {
    }
    ~HandOff();
    HandOff(const HandOff&) = delete;
    HandOff& operator=(const HandOff&) = delete;

    /// Waits for the lock for up to 15 seconds. Raises: CommandFailure (kFailed) in words. Throws Interrupted.
    void take(const std::string& path);

private:
    bool startSyncIdling(int64_t secondsLeft) override;

    const ActionPartners& partners_;
    Console& console_;
    LinuxFileManager files_;
    bool isFirstAttempt_ = true;
    NSAutoreleasePool senders_; // ends before what the senders work with
};
