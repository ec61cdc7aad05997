#include "ConduitSynchronizeReceiver.h"

#include "AppleEventSystem.h"
#include "ConduitEvents.h"

namespace {

std::optional<NSURL> fileOf(const AppleEvent& event)
{
    const NSAppleEventDescriptor* const list = event.paramDescriptorForKeyword(keyDirectObject);
    const NSAppleEventDescriptor* const item = list != nullptr ? list->descriptorAtIndex(1) : nullptr;
    return item != nullptr ? NSURL::urlWithURLData(item->data()) : std::nullopt;
}

} // namespace

std::unique_ptr<ConduitSynchronizeReceiver> ConduitSynchronizeReceiver::conduitSynchronizeReceiver(
    ConduitSynchronizeReceiverDelegate& delegate, NSAppleEventManager& manager)
{
    std::unique_ptr<ConduitSynchronizeReceiver> receiver(new ConduitSynchronizeReceiver(delegate));
    for (const uint32_t eventID : { ConduitEvents::kStart, ConduitEvents::kStop }) {
        manager.setEventHandler([target = receiver.get()](const AppleEvent& event,
                                    AppleEvent& reply) { target->receiveSyncAppleEvent(event, reply); },
            ConduitEvents::kClass, eventID);
    }
    return receiver;
}

void ConduitSynchronizeReceiver::receiveSyncAppleEvent(const AppleEvent& event, AppleEvent& replyEvent)
{
    const std::optional<NSURL> file = fileOf(event);
    bool answer = false;
    if (event.eventID == ConduitEvents::kStop)
        delegate_.syncStopForFile(file);
    else if (event.eventID == ConduitEvents::kStart)
        answer = delegate_.syncStartForFile(file).value_or(false);
    replyEvent.setDescriptor(NSAppleEventDescriptor::descriptorWithBoolean(answer), keyDirectObject);
}
