#include "Bus.h"

#include "Interruption.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>

namespace {

constexpr char kDaemon[] = "org.freedesktop.DBus";
constexpr char kDaemonObject[] = "/org/freedesktop/DBus";

struct SlotRelease {
    void operator()(sd_bus_slot* slot) const { busCalls().slot_unref(slot); }
};
using BusSlot = std::unique_ptr<sd_bus_slot, SlotRelease>;

int keepReply(sd_bus_message* message, void* context, sd_bus_error*)
{
    static_cast<BusMessage*>(context)->reset(busCalls().message_ref(message));
    return 1;
}

BusAnswer failure(const char* error)
{
    return { nullptr, error };
}

} // namespace

Bus::Bus(Duration busTimeOut)
    : busTimeOut_(busTimeOut)
{
    if (!loadBusIfWanted() || busCalls().open_user(&bus_) < 0)
        bus_ = nullptr;
}

Bus::~Bus()
{
    disconnect();
}

void Bus::disconnect()
{
    if (bus_ != nullptr)
        bus_ = busCalls().close_unref(bus_); // without a flush, which could wait for ever
}

BusMessage Bus::newCall(const std::string& destination, const char* object, const char* interface, const char* method)
{
    sd_bus_message* message = nullptr;
    if (bus_ == nullptr
        || busCalls().message_new_method_call(bus_, &message, destination.c_str(), object, interface, method) < 0)
        return nullptr;
    BusMessage call(message);
    busCalls().message_set_auto_start(message, 0);
    return call;
}

BusAnswer Bus::call(sd_bus_message* message, Duration timeOut)
{
    if (bus_ == nullptr || message == nullptr)
        return failure(kDisconnected);
    const auto deadline = Clock::now() + timeOut;
    BusMessage reply;
    sd_bus_slot* rawSlot = nullptr;
    if (busCalls().call_async(bus_, &rawSlot, message, keepReply, &reply, UINT64_MAX) < 0) {
        disconnect();
        return failure(kDisconnected);
    }
    const BusSlot slot(rawSlot); // ends the call, should it be left without a reply

    while (!reply) {
        const int processed = processOnce();
        if (processed < 0)
            return failure(kDisconnected);
        if (reply)
            break;
        if (Clock::now() >= deadline) // looked at in every round: on a busy bus there is always something to do
            return failure(kTimedOut);
        throwIfInterrupted();
        if (processed == 0)
            waitForTraffic(deadline);
    }
    const sd_bus_error* const error = busCalls().message_get_error(reply.get());
    if (error != nullptr)
        return failure(error->name);
    return { std::move(reply), {} };
}

bool Bus::post(sd_bus_message* message)
{
    if (bus_ == nullptr || message == nullptr)
        return false;
    if (busCalls().message_set_expect_reply(message, 0) >= 0 && busCalls().send(bus_, message, nullptr) >= 0)
        return true;
    disconnect();
    return false;
}

/// Above 0 if there was something to do, 0 if not, below 0 if the connection is gone.
int Bus::processOnce()
{
    const int result = busCalls().process(bus_, nullptr);
    if (result < 0 || busCalls().is_open(bus_) <= 0) {
        disconnect();
        return -1;
    }
    return result;
}

void Bus::waitForTraffic(Clock::time_point deadline)
{
    const int events = busCalls().get_events(bus_);
    pollfd waitFor[] = {
        { busCalls().get_fd(bus_), static_cast<short>(std::max(events, 0)), 0 },
        { interruptionDescriptor(), POLLIN, 0 },
    };
    const auto left = std::chrono::duration_cast<Duration>(deadline - Clock::now()).count() + 1;
    throwIfInterrupted();
    ::poll(waitFor, std::size(waitFor), static_cast<int>(std::clamp<long long>(left, 0, 60000)));
    throwIfInterrupted();
}

BusAnswer Bus::ask(const char* method, const std::string& argument)
{
    const BusMessage message = newCall(kDaemon, kDaemonObject, kDaemon, method);
    if (message && !argument.empty() && busCalls().message_append(message.get(), "s", argument.c_str()) < 0)
        return failure(kDisconnected);
    BusAnswer answer = call(message.get(), busTimeOut_);
    if (answer.error == kTimedOut)
        disconnect(); // a bus that is silent once is not asked again
    return answer;
}

std::vector<std::string> Bus::askForNames(const char* method)
{
    const BusAnswer answer = ask(method, {});
    std::vector<std::string> names;
    if (!answer.reply || busCalls().message_enter_container(answer.reply.get(), 'a', "s") <= 0)
        return names;
    const char* name = nullptr;
    while (busCalls().message_read_basic(answer.reply.get(), 's', &name) > 0)
        names.emplace_back(name);
    return names;
}

std::vector<std::string> Bus::names()
{
    return askForNames("ListNames");
}

std::vector<std::string> Bus::activatableNames()
{
    return askForNames("ListActivatableNames");
}

std::optional<std::string> Bus::ownerOf(const std::string& name)
{
    const BusAnswer answer = ask("GetNameOwner", name);
    const char* owner = nullptr;
    if (!answer.reply || busCalls().message_read_basic(answer.reply.get(), 's', &owner) <= 0)
        return std::nullopt;
    return owner;
}

std::optional<uint32_t> Bus::processOf(const std::string& name)
{
    const BusAnswer answer = ask("GetConnectionUnixProcessID", name);
    uint32_t pid = 0;
    if (!answer.reply || busCalls().message_read_basic(answer.reply.get(), 'u', &pid) <= 0)
        return std::nullopt;
    return pid;
}

bool Bus::takeName(const std::string& name)
{
    return bus_ != nullptr && busCalls().request_name(bus_, name.c_str(), 0) >= 0;
}

bool Bus::serve(const char* object, const char* interface, const sd_bus_vtable* methods, void* context)
{
    return bus_ != nullptr && busCalls().add_object_vtable(bus_, nullptr, object, interface, methods, context) >= 0;
}

bool Bus::handleIncoming(Duration wait)
{
    if (bus_ == nullptr)
        return false;
    const auto deadline = Clock::now() + wait;
    int processed = processOnce();
    if (processed == 0) {
        waitForTraffic(deadline);
        processed = processOnce();
    }
    while (processed > 0 && Clock::now() < deadline) {
        throwIfInterrupted();
        processed = processOnce();
    }
    return processed >= 0;
}
