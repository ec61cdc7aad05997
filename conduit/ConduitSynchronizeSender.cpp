#include "ConduitSynchronizeSender.h"

#include "AppleEventSystem.h"
#include "CFAbsoluteTime.h"
#include "ConduitEvents.h"
#include "DocumentLock.h"
#include "ExtraStringUtilities.h"
#include "NSBundle.h"
#include "NSException.h"
#include "NSFileManager.h"
#include "NSURL.h"

#include <optional>
#include <string_view>

namespace {

constexpr CFAbsoluteTime kLockWait = 15.0;

/// A failure by its operation and fixed line, which programs recognise it by, and its text for people.
struct Failure {
    const char* operation;
    int line;
    const char* reason;
};

constexpr char kCreateEvent[] = "-[ConduitSynchronizeSender createSynchronizationEvent:eventID:]";
constexpr char kSendStart[] = "-[ConduitSynchronizeSender sendStartSynchronizationEvent]";
constexpr char kSendStop[] = "-[ConduitSynchronizeSender sendStopSynchronizationEvent]";
constexpr char kLockDocument[] = "-[ConduitSynchronizeSender lockDocument]";

constexpr Failure kNoList { kCreateEvent, 127, "Unable to AECreateList" };
constexpr Failure kNoPath { kCreateEvent, 131, "No path specified in synchronization preferences." };
constexpr Failure kInvalidPath { kCreateEvent, 137, "Invalid file path: <%@>" };
constexpr Failure kNoDescriptor { kCreateEvent, 143, "Unable to AECreateDesc" };
constexpr Failure kNoListAfterInsertion { kCreateEvent, 147, "Unable to AEPutDesc" };
constexpr Failure kNoParameter { kCreateEvent, 151, "Unable to AEPutParamDesc" };
constexpr Failure kStartNotSent { kSendStart, 178, "sendStart: Unable to AESend. (%d)" };
constexpr Failure kBadResponse { kSendStart, 184, "Bad event response from Vellorin. (%d)" };
constexpr Failure kNoBoolean { kSendStart, 189, "Unable to AEGetParamPtr. (%d)" };
constexpr Failure kStopNotSent { kSendStop, 210, "sendStop: Unable to AESend. (%d)" };
constexpr Failure kNoFile { kLockDocument, 219,
    "The file specified in the file synchronization preferences does not appear to exist.  It may have been moved or "
    "renamed.  Please re-specify the file in the conduit preferences." };
constexpr Failure kOpenElsewhere { kLockDocument, 228,
    "It appears your Vellorin file is open by another program.  Please close the file.  If the file is not open, try "
    "opening it in Vellorin and closing it again." };
static_assert(std::string_view(kOpenElsewhere.reason).starts_with(kOpenByAnotherProgram));

[[noreturn]] void raise(const Failure& failure, const std::string& reason)
{
    NSException::raise(std::string(failure.operation) + ":" + std::to_string(failure.line), reason);
}

[[noreturn]] void raiseLocalized(const Failure& failure)
{
    raise(failure, NSBundle::mainBundle().localizedStringForKey(failure.reason));
}

std::string filled(std::string pattern, const char* placeholder, const std::string& text)
{
    return pattern.replace(pattern.find(placeholder), 2, text);
}

void raiseUnlessZero(int16_t error, const Failure& failure)
{
    if (error != noErr)
        raise(failure, filled(failure.reason, "%d", std::to_string(error)));
}

} // namespace

std::shared_ptr<ConduitSynchronizeSender> ConduitSynchronizeSender::conduitSynchronizeSenderWithFilePath(
    const std::string& targetURLString, ConduitSynchronizeSenderDelegate& delegate, const ConduitServices& services)
{
    const std::shared_ptr<ConduitSynchronizeSender> sender(
        new ConduitSynchronizeSender(targetURLString, delegate, services));
    NSAutoreleasePool::autorelease(sender);
    sender->sendStartSynchronizationEvent();
    sender->lockDocument();
    return sender;
}

ConduitSynchronizeSender::ConduitSynchronizeSender(
    const std::string& targetURLString, ConduitSynchronizeSenderDelegate& delegate, const ConduitServices& services)
    : targetURLString_(targetURLString)
    , delegate_(delegate)
    , services_(services)
{
}

ConduitSynchronizeSender::~ConduitSynchronizeSender() = default;

bool ConduitSynchronizeSender::createSynchronizationEvent(AppleEvent& event, uint32_t eventID) const
{
    ProcessSerialNumber application;
    if (!ExtraStringUtilities::findProcess(ConduitEvents::kApplication, &application, services_.events))
        return false;
    event.eventClass = ConduitEvents::kClass;
    event.eventID = eventID;
    event.targetDescriptor
        = NSAppleEventDescriptor::descriptorWithDescriptorType(typeProcessSerialNumber, application.bytes());

    std::optional<NSAppleEventDescriptor> list = services_.events.listDescriptor();
    if (!list)
        raise(kNoList, kNoList.reason);
    if (targetURLString_.empty())
        raiseLocalized(kNoPath);
    const std::optional<NSURL> url = NSURL::urlWithURLString(targetURLString_);
    if (!url)
        raise(kInvalidPath,
            filled(NSBundle::mainBundle().localizedStringForKey(kInvalidPath.reason), "%@", targetURLString_));
    const std::optional<NSAppleEventDescriptor> file
        = services_.events.descriptorWithDescriptorType(typeFileURL, url->urlData());
    if (!file)
        raise(kNoDescriptor, kNoDescriptor.reason);
    list->insertDescriptor(*file, 0);
    if (!list) // stays beside the test above, as the pair of both is what reports are compared with
        raise(kNoListAfterInsertion, kNoListAfterInsertion.reason);
    if (services_.events.AEPutParamDesc(event, keyDirectObject, *list) != noErr)
        raise(kNoParameter, kNoParameter.reason);
    return true;
}

void ConduitSynchronizeSender::sendStartSynchronizationEvent()
{
    sendEndSynchronization_ = false;
    AppleEvent event;
    if (!createSynchronizationEvent(event, ConduitEvents::kStart))
        return;
    AppleEvent reply;
    std::size_t size = 0;
    raiseUnlessZero(services_.events.AESend(event, reply, kReplyWithoutInteraction), kStartNotSent);
    raiseUnlessZero(AESizeOfParam(reply, keyDirectObject, size), kBadResponse);
    raiseUnlessZero(AEGetParamPtr(reply, keyDirectObject, sendEndSynchronization_), kNoBoolean);
}

void ConduitSynchronizeSender::sendStopSynchronizationEvent()
{
    AppleEvent event;
    if (!createSynchronizationEvent(event, ConduitEvents::kStop))
        return; // an application that has ended meanwhile needs no stop
    AppleEvent reply; // not read
    raiseUnlessZero(services_.events.AESend(event, reply, kReplyWithoutInteraction), kStopNotSent);
}

void ConduitSynchronizeSender::lockDocument()
{
    const std::optional<NSURL> url = NSURL::urlWithURLString(targetURLString_);
    const DocumentLock::Path path = url ? DocumentLock::Path(url->path()) : std::nullopt;
    documentLock_ = std::make_unique<DocumentLock>(services_.locks);
    if (!path || !services_.files.fileExistsAtPath(*path))
        raiseLocalized(kNoFile);

    const CFAbsoluteTime deadline = services_.clock.CFAbsoluteTimeGetCurrent() + kLockWait;
    for (;;) {
        const CFAbsoluteTime now = services_.clock.CFAbsoluteTimeGetCurrent();
        if (now > deadline) {
            sendEndSynchronization_ = false;
            raiseLocalized(kOpenElsewhere);
        }
        if (!delegate_.startSyncIdling(static_cast<int64_t>(deadline - now)))
            return;
        if (documentLock_->grabWriteLockForFile(path, /*rememberIfFailed=*/false))
            return;
    }
}

void ConduitSynchronizeSender::unlockDocument()
{
    documentLock_.reset();
}

void ConduitSynchronizeSender::dealloc()
{
    unlockDocument(); // first: whoever hears the stop event may open the file
    if (sendEndSynchronization_)
        sendStopSynchronizationEvent();
}
