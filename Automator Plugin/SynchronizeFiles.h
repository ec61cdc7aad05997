#pragma once

#include "AMBundleAction.h"
#include "ConduitSynchronizeSender.h"
#include "DocumentLock.h"
#include "NSURL.h"

#include <cstdint>
#include <memory>
#include <string>

class NSAlertPresenter;
class NSException;
class VLR_Document;
class VLR_GatheringStream;

/// What the action needs of its host; everything is borrowed and outlives the action.
struct SynchronizeFilesHost {
    ConduitServices conduit;
    NSAlertPresenter& alerts;

    /// Called between the attempts to take a write lock. It paces them, and may throw to end the run.
    void (*pauseBetweenLockAttempts)();
};

/// The pause of a host that only waits: often enough for a lock that comes free, and seldom enough for the processor.
/// Throws Interrupted.
void pauseUnlessInterrupted();

/// The action: one run synchronises two vault files and answers with one result text.
///
/// The master password is never asked for and no record is deciphered. A failure that the product knows becomes the
/// error dictionary and its text; anything else passes out unchanged. The senders, which hold the files' locks and owe
/// stop events, are left to the host's autorelease scope: the host keeps action and scope until the run has returned.
class SynchronizeFiles final : public AMBundleAction, public ConduitSynchronizeSenderDelegate {
public:
    explicit SynchronizeFiles(const SynchronizeFilesHost& host);

    /// The whole run. `input` should be a list of two paths; their order decides which file is merged first and written
    /// first. `error` is set on a failure alone.
    ///
    /// A file that could not be replaced is no failure here: the host's file manager knows of it.
    std::string runWithInput(const AMInput& input, AMBundleAction* fromAction, AMErrorDictionary& error) override;

    /// Always true: go on waiting.
    bool startSyncIdling(int64_t secondsLeft) override;

    /// Shows the reason in a modal alert. For a host with a user interface; a run reports by its result alone.
    void fileToFileSyncError(const NSException& exception);

    static AMErrorDictionary errorDictionaryForString(const std::string& reason);

    static constexpr char kSuccess[] = "<Success>";
    static constexpr int32_t kScriptingSystemError = -1750;
    static constexpr uint32_t kTypeCode = 0x566C7234; // "Vlr4"
    static constexpr uint32_t kCreatorCode = 0x73683131; // "sh11"

private:
    struct Pair {
        NSURL first;
        NSURL second;
    };

    std::string runGuarded(const AMInput& input, AMErrorDictionary& error);
    Pair checkedInput(const AMInput& input) const;
    void synchronize(const Pair& pair);
    void handOff(const NSURL& url);
    void writeFile(VLR_Document& document, VLR_GatheringStream& stream, const std::string& path) const;
    static AMErrorDictionary errorDictionaryForException(const NSException& exception);

    SynchronizeFilesHost host;
    bool firstLockAttempt_ = true; // of the present sender: a lock that is free is taken without a pause
    std::unique_ptr<DocumentLock> locks_; // lives as long as a run; the locks that count are the senders'
};
