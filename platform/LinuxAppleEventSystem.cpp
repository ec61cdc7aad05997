#include "AppleEventSystem.h"

#include "Bus.h"
#include "BusErrors.h"
#include "EventWire.h"

#include <algorithm>
#include <exception>
#include <map>
#include <utility>

namespace {

constexpr char kNotHandled[] = "org.freedesktop.DBus.Error.UnknownMethod";
constexpr char kBadArguments[] = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr char kHandlerFailed[] = "org.freedesktop.DBus.Error.Failed";

int replyWithResult(sd_bus_message* message, const AppleEvent& reply)
{
    sd_bus_message* raw = nullptr;
    int result = busCalls().message_new_method_return(message, &raw);
    const BusMessage answer(raw);
    if (result >= 0)
        result = EventWire::appendParameters(answer.get(), reply);
    return result >= 0 ? busCalls().send(nullptr, answer.get(), nullptr) : result;
}

} // namespace

struct LinuxAppleEventSystem::State {
    explicit State(const TimeOuts& timeOuts)
        : timeOuts(timeOuts)
        , isBusNamed(loadBusIfWanted())
    {
    }

    /// Null where there is no usable bus.
    Bus* usableBus()
    {
        if (!isBusNamed)
            return nullptr;
        if (!bus)
            bus = std::make_unique<Bus>(timeOuts.bus);
        return bus->isUsable() ? bus.get() : nullptr;
    }

    /// Null where there is no usable bus, or the target is not a process that has been told of.
    BusMessage messageFor(const AppleEvent& event);

    std::chrono::milliseconds replyTimeOut(int32_t ticks) const;

    static int handleIncomingEvent(sd_bus_message* message, void* context, sd_bus_error*);

    TimeOuts timeOuts;
    const bool isBusNamed;
    std::unique_ptr<Bus> bus; // made at the first use
    std::map<uint32_t, std::string> addresses; // of the processes that have been told of
    std::map<std::pair<uint32_t, uint32_t>, AppleEventHandler> handlers; // by class and ID
    std::exception_ptr handlerFailure; // nothing may pass through the bus library
};

BusMessage LinuxAppleEventSystem::State::messageFor(const AppleEvent& event)
{
    Bus* const usable = usableBus();
    const auto address = std::find_if(addresses.begin(), addresses.end(), [&](const auto& process) {
        return ProcessSerialNumber { 0, process.first }.bytes() == event.targetDescriptor.data();
    });
    if (usable == nullptr || address == addresses.end())
        return nullptr;
    BusMessage message
        = usable->newCall(address->second, EventWire::kObject, EventWire::kInterface, EventWire::kMethod);
    if (!message || EventWire::appendEvent(message.get(), event) < 0)
        return nullptr;
    return message;
}

std::chrono::milliseconds LinuxAppleEventSystem::State::replyTimeOut(int32_t ticks) const
{
    if (ticks == kNoTimeOut)
        return std::chrono::hours(24 * 365);
    return ticks < 0 ? timeOuts.reply : std::chrono::milliseconds(int64_t { ticks } * 1000 / 60);
}

int LinuxAppleEventSystem::State::handleIncomingEvent(sd_bus_message* message, void* context, sd_bus_error*)
{
    auto& state = *static_cast<State*>(context);
    try {
        AppleEvent event;
        if (EventWire::readEvent(message, event) < 0)
            return busCalls().reply_method_errorf(message, kBadArguments, "no event");
        const auto handler = state.handlers.find({ event.eventClass, event.eventID });
        if (handler == state.handlers.end())
            return busCalls().reply_method_errorf(message, kNotHandled, "no handler for this class and ID");
        AppleEvent reply;
        handler->second(event, reply);
        return replyWithResult(message, reply);
    } catch (...) {
        state.handlerFailure = std::current_exception();
        return busCalls().reply_method_errorf(message, kHandlerFailed, "the handler failed");
    }
}

LinuxAppleEventSystem::LinuxAppleEventSystem()
    : LinuxAppleEventSystem(TimeOuts {})
{
}

LinuxAppleEventSystem::LinuxAppleEventSystem(const TimeOuts& timeOuts)
    : state_(std::make_unique<State>(timeOuts))
{
}

LinuxAppleEventSystem::~LinuxAppleEventSystem() = default;

std::vector<std::string> LinuxAppleEventSystem::runningBundleIdentifiers()
{
    Bus* const bus = state_->usableBus();
    std::vector<std::string> identifiers = bus != nullptr ? bus->names() : std::vector<std::string>();
    std::erase_if(identifiers, [](const std::string& name) { return name.rfind(':', 0) == 0; });
    return identifiers;
}

std::optional<uint32_t> LinuxAppleEventSystem::processID(const std::string& bundleIdentifier)
{
    Bus* const bus = state_->usableBus();
    const auto owner = bus != nullptr ? bus->ownerOf(bundleIdentifier) : std::nullopt;
    const auto pid = owner ? bus->processOf(*owner) : std::nullopt;
    if (pid)
        state_->addresses.insert_or_assign(*pid, *owner);
    return pid;
}

int16_t LinuxAppleEventSystem::AESend(const AppleEvent& event, AppleEvent& reply)
{
    return AESend(event, reply, AESendOptions {});
}

int16_t LinuxAppleEventSystem::AESend(const AppleEvent& event, AppleEvent& reply, const AESendOptions& options)
{
    const BusMessage message = state_->messageFor(event);
    if (!message)
        return procNotFound;
    if (!options.waitsForReply())
        return state_->bus->post(message.get()) ? noErr : procNotFound;
    const BusAnswer answer = state_->bus->call(message.get(), state_->replyTimeOut(options.timeOutInTicks));
    if (!answer.reply)
        return errorNumberOfBusError(answer.error);
    AppleEvent received;
    if (EventWire::readParameters(answer.reply.get(), received) >= 0)
        reply = std::move(received); // what can't be read is a reply without parameters
    return noErr;
}

void LinuxAppleEventSystem::setEventHandler(AppleEventHandler handler, uint32_t eventClass, uint32_t eventID)
{
    state_->handlers.insert_or_assign({ eventClass, eventID }, std::move(handler));
}

bool LinuxAppleEventSystem::becomeRunningProcess(const std::string& bundleIdentifier)
{
    Bus* const bus = state_->usableBus();
    if (bus == nullptr)
        return false;
    // The macro names the library's variable, to which no program is linked.
    const unsigned& sd_bus_object_vtable_format = *busCalls().object_vtable_format;
    static const sd_bus_vtable kMethods[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD(EventWire::kMethod, EventWire::kEventSignature, EventWire::kReplySignature,
            State::handleIncomingEvent, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
    };
    return bus->serve(EventWire::kObject, EventWire::kInterface, kMethods, state_.get())
        && bus->takeName(bundleIdentifier);
}

bool LinuxAppleEventSystem::handleEvents(std::chrono::milliseconds wait)
{
    Bus* const bus = state_->usableBus();
    const bool goesOn = bus != nullptr && bus->handleIncoming(wait);
    if (state_->handlerFailure)
        std::rethrow_exception(std::exchange(state_->handlerFailure, nullptr));
    return goesOn;
}
