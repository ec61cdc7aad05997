#include "AppleEventSystem.h"
#include "ConduitEvents.h"
#include "ConduitSynchronizeReceiver.h"
#include "EventWire.h"
#include "FuzzInput.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>

#include <sys/socket.h>

// A message of the bus with whatever types and values the input builds, read as an event and as a reply. What is read
// is within the bounds and comes back the same from a second message; the hand-off's receiver answers it with a
// boolean. (How bytes become a message is the bus library's own affair; it hands over none that contradicts its
// signature.)

namespace {

struct Unref {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, Unref>;

/// A connection to nobody: messages are made for one, and never sent.
sd_bus* connection()
{
    static const std::unique_ptr<sd_bus, Unref> bus = [] {
        int ends[2] = {};
        sd_bus* made = nullptr;
        const bool isMade = ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0 && sd_bus_new(&made) >= 0
            && sd_bus_set_fd(made, ends[0], ends[0]) >= 0 && sd_bus_start(made) >= 0;
        expect(isMade, "a connection can be made");
        return std::unique_ptr<sd_bus, Unref>(made);
    }();
    return bus.get();
}

Message newMessage()
{
    sd_bus_message* made = nullptr;
    expect(sd_bus_message_new_method_call(
               connection(), &made, nullptr, EventWire::kObject, EventWire::kInterface, EventWire::kMethod)
            >= 0,
        "a message can be made");
    return Message(made);
}

/// Seals a message and puts its cursor at the start. A message that is not complete can't be sealed.
bool isSealed(sd_bus_message* message)
{
    return sd_bus_message_seal(message, 1, 0) >= 0 && sd_bus_message_rewind(message, 1) >= 0;
}

/// Appends what a receiver expects, and at some places, as the input says, what it doesn't.
class MessageBuilder {
public:
    MessageBuilder(sd_bus_message* message, FuzzInput& input)
        : message(message)
        , input(input)
    {
    }

    int event()
    {
        int result = 0;
        if (input.below(16) == 0)
            return appendOddValue();
        for (const char type : { 'u', 'u', 'i', 'i' }) {
            const uint32_t value = input.number();
            result = result < 0 ? result : sd_bus_message_append_basic(message, type, &value);
        }
        return result < 0 ? result : parameters();
    }

    int parameters()
    {
        if (input.below(16) == 0)
            return appendOddValue();
        int result = sd_bus_message_open_container(message, 'a', "(u(uv))");
        while (result >= 0 && !input.isEmpty() && input.below(8) != 0) {
            const uint32_t keyword = keywordOf(input.byte());
            result = sd_bus_message_open_container(message, 'r', "u(uv)");
            if (result >= 0)
                result = sd_bus_message_append_basic(message, 'u', &keyword);
            if (result >= 0)
                result = descriptor(0);
            if (result >= 0)
                result = sd_bus_message_close_container(message);
        }
        return result < 0 ? result : sd_bus_message_close_container(message);
    }

private:
    static uint32_t keywordOf(uint8_t choice) { return choice < 128 ? keyDirectObject : choice; }

    int descriptor(int depth)
    {
        const uint8_t kind = input.byte();
        const uint32_t type = kind % 4 == 0 ? typeAEList : kind % 4 == 1 ? typeFileURL : input.number();
        int result = sd_bus_message_open_container(message, 'r', "uv");
        if (result >= 0)
            result = sd_bus_message_append_basic(message, 'u', &type);
        if (result >= 0)
            result = kind >= 240 ? oddVariant() : kind % 4 == 0 && depth < 12 ? list(depth) : bytesVariant();
        return result < 0 ? result : sd_bus_message_close_container(message);
    }

    int list(int depth)
    {
        int result = sd_bus_message_open_container(message, 'v', "a(uv)");
        if (result >= 0)
            result = sd_bus_message_open_container(message, 'a', "(uv)");
        for (uint32_t left = input.below(80); result >= 0 && left > 0 && !input.isEmpty(); --left)
            result = descriptor(depth + 1);
        if (result >= 0)
            result = sd_bus_message_close_container(message);
        return result < 0 ? result : sd_bus_message_close_container(message);
    }

    int bytesVariant()
    {
        const std::string bytes = input.piece();
        int result = sd_bus_message_open_container(message, 'v', "ay");
        if (result >= 0)
            result = sd_bus_message_append_array(message, 'y', bytes.data(), bytes.size());
        return result < 0 ? result : sd_bus_message_close_container(message);
    }

    int oddVariant()
    {
        static constexpr const char* kSignatures[] = { "u", "s", "au", "x" };
        const char* const signature = kSignatures[input.below(4)];
        int result = sd_bus_message_open_container(message, 'v', signature);
        if (result >= 0)
            result = value(signature);
        return result < 0 ? result : sd_bus_message_close_container(message);
    }

    int appendOddValue()
    {
        static constexpr const char* kSignatures[] = { "u", "s", "au", "x" };
        return value(kSignatures[input.below(4)]);
    }

    int value(const char* signature)
    {
        const uint64_t number = input.number();
        if (std::strcmp(signature, "s") == 0)
            return sd_bus_message_append_basic(message, 's', "text");
        if (std::strcmp(signature, "au") == 0)
            return sd_bus_message_append_array(message, 'u', &number, sizeof number);
        return sd_bus_message_append_basic(message, signature[0], &number);
    }

    sd_bus_message* const message;
    FuzzInput& input;
};

// The bounds: lists nested at most 8 deep, and 64 descriptors in all.

int depthOf(const NSAppleEventDescriptor& descriptor)
{
    int deepest = 0;
    for (const NSAppleEventDescriptor& item : descriptor.items())
        deepest = std::max(deepest, depthOf(item));
    return descriptor.isList() ? deepest + 1 : 0;
}

int countOf(const NSAppleEventDescriptor& descriptor)
{
    int count = 1;
    for (const NSAppleEventDescriptor& item : descriptor.items())
        count += countOf(item);
    return count;
}

void expectWithinBounds(const AppleEvent& event)
{
    int count = 0;
    for (const auto& [keyword, descriptor] : event.parameters) {
        expect(depthOf(descriptor) <= 8, "lists are nested at most 8 deep");
        count += countOf(descriptor);
    }
    expect(count <= 64, "there are at most 64 descriptors");
}

void expectComesBack(const AppleEvent& event)
{
    const Message message = newMessage();
    expect(EventWire::appendEvent(message.get(), event) >= 0 && isSealed(message.get()), "what was read is written");
    AppleEvent again;
    expect(EventWire::readEvent(message.get(), again) >= 0, "what was written is read");
    expect(again.eventClass == event.eventClass && again.eventID == event.eventID && again.returnID == event.returnID
            && again.transactionID == event.transactionID && again.parameters == event.parameters,
        "what was written is read to the same");
}

class Receiver final : public ConduitSynchronizeReceiverDelegate, public NSAppleEventManager {
public:
    std::optional<bool> syncStartForFile(const std::optional<NSURL>& file) override
    {
        if (file)
            expect(NSURL::urlWithURLData(file->urlData())->path() == file->path(), "a path survives its URL");
        return file.has_value();
    }
    void syncStopForFile(const std::optional<NSURL>&) override { }
    void setEventHandler(AppleEventHandler handler, uint32_t, uint32_t eventID) override
    {
        handlers[eventID] = std::move(handler);
    }

    std::map<uint32_t, AppleEventHandler> handlers;
};

/// The event handed to the receiver as each of the two that it knows.
void expectAnswered(AppleEvent event)
{
    Receiver receiver;
    const auto conduit = ConduitSynchronizeReceiver::conduitSynchronizeReceiver(receiver, receiver);
    for (const uint32_t id : { ConduitEvents::kStart, ConduitEvents::kStop }) {
        event.eventID = id;
        AppleEvent reply;
        receiver.handlers.at(id)(event, reply);
        bool answer = false;
        expect(AEGetParamPtr(reply, keyDirectObject, answer) == noErr, "the reply is a boolean");
        expect(!answer || id == ConduitEvents::kStart, "a stop is never answered with yes");
    }
}

void readAnswer(const AppleEvent& reply)
{
    bool answer = false;
    uint32_t number = 0;
    std::size_t size = 0;
    const bool isThere = reply.paramDescriptorForKeyword(keyDirectObject) != nullptr;
    expect((AESizeOfParam(reply, keyDirectObject, size) == noErr) == isThere, "the size of what is there is known");
    expect((AEGetParamPtr(reply, keyDirectObject, answer) != errAEDescNotFound) == isThere, "only then it is found");
    AEGetParamPtr(reply, keyDirectObject, number);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const bool isReply = input.below(4) == 0;
    const Message message = newMessage();
    MessageBuilder builder(message.get(), input);
    if ((isReply ? builder.parameters() : builder.event()) < 0 || !isSealed(message.get()))
        return 0;
    AppleEvent event;
    const int result
        = isReply ? EventWire::readParameters(message.get(), event) : EventWire::readEvent(message.get(), event);
    expectWithinBounds(event);
    if (result < 0)
        return 0;
    expectComesBack(event);
    expectAnswered(event);
    readAnswer(event);
    return 0;
}
