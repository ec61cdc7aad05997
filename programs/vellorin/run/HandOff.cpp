#include "HandOff.h"

#include "ActionFailure.h"
#include "Console.h"
#include "ExitStatus.h"
#include "NSException.h"
#include "NSURL.h"

HandOff::~HandOff()
{
    endSenders(senders_, console_);
}

void HandOff::take(const std::string& path)
{
    isFirstAttempt_ = true;
    try {
        ConduitSynchronizeSender::conduitSynchronizeSenderWithFilePath(NSURL::fileURLWithPath(path).urlString(), *this,
            { partners_.events, partners_.locks, files_, partners_.clock });
    } catch (const NSException& exception) {
        throw CommandFailure(kFailed, inWords("<" + exception.reason() + ">", { path }) + "; no file was changed");
    }
}

bool HandOff::startSyncIdling(int64_t)
{
    if (!isFirstAttempt_) // a lock that is free is taken without a pause
        partners_.pauseBetweenLockAttempts();
    isFirstAttempt_ = false;
    return true;
}
