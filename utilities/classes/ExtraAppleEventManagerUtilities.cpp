#include "ExtraAppleEventManagerUtilities.h"

#include "ExtraAppleEventDescriptorUtilities.h"
#include "ExtraStringUtilities.h"
#include "UtilityExceptions.h"

namespace {

constexpr char kNoReturnValue[] = "nil retVal for quickSend.";
constexpr int kNoReturnValueLine = 2011;

int16_t sendOnce(
    uint32_t eventID, const std::string& toProcess, int32_t sendMode, AppleEvent& reply, AppleEventSystem& eventSystem)
{
    ProcessSerialNumber process;
    if (!ExtraStringUtilities::findProcess(toProcess, &process, eventSystem))
        return paramErr;
    AppleEvent event;
    event.eventClass = kCoreEventClass;
    event.eventID = eventID;
    event.targetDescriptor = ExtraAppleEventDescriptorUtilities::descriptorWithProcess(process);
    AESendOptions options;
    options.sendMode = sendMode;
    return eventSystem.AESend(event, reply, options);
}

} // namespace

int16_t ExtraAppleEventManagerUtilities::quickSend(
    uint32_t eventID, const std::string& toProcess, AppleEventSystem& eventSystem)
{
    AppleEvent noReply;
    return sendOnce(eventID, toProcess, kAENoReply, noReply, eventSystem);
}

int16_t ExtraAppleEventManagerUtilities::quickSend(
    uint32_t eventID, const std::string& toProcess, uint32_t* returnValue, AppleEventSystem& eventSystem)
{
    if (returnValue == nullptr)
        raiseInconsistency(kNoReturnValue, "quickSend:toProcess:returnValue:", kNoReturnValueLine);
    AppleEvent reply;
    const int16_t error = sendOnce(eventID, toProcess, kAEWaitReply, reply, eventSystem);
    return error != noErr ? error : AEGetParamPtr(reply, keyDirectObject, *returnValue);
}
