#include "EventWire.h"

#include "BusLibrary.h"

#include <cerrno>
#include <utility>

namespace {

constexpr int kDeepestList = 8;
constexpr int kMostDescriptors = 64; // lists and their items, of all parameters

int appendDescriptor(sd_bus_message* message, const NSAppleEventDescriptor& descriptor);

int appendListVariant(sd_bus_message* message, const NSAppleEventDescriptor& list)
{
    int result = busCalls().message_open_container(message, 'v', "a(uv)");
    if (result >= 0)
        result = busCalls().message_open_container(message, 'a', "(uv)");
    for (const NSAppleEventDescriptor& item : list.items()) {
        if (result >= 0)
            result = appendDescriptor(message, item);
    }
    if (result >= 0)
        result = busCalls().message_close_container(message);
    return result >= 0 ? busCalls().message_close_container(message) : result;
}

int appendBytesVariant(sd_bus_message* message, const std::string& bytes)
{
    int result = busCalls().message_open_container(message, 'v', "ay");
    if (result >= 0)
        result = busCalls().message_append_array(message, 'y', bytes.data(), bytes.size());
    return result >= 0 ? busCalls().message_close_container(message) : result;
}

int appendDescriptor(sd_bus_message* message, const NSAppleEventDescriptor& descriptor)
{
    const uint32_t type = descriptor.descriptorType();
    int result = busCalls().message_open_container(message, 'r', "uv");
    if (result >= 0)
        result = busCalls().message_append_basic(message, 'u', &type);
    if (result >= 0)
        result = descriptor.isList() ? appendListVariant(message, descriptor)
                                     : appendBytesVariant(message, descriptor.data());
    return result >= 0 ? busCalls().message_close_container(message) : result;
}

/// Reads the descriptors of one message, and no more of them than a message may hold.
class DescriptorReader {
public:
    explicit DescriptorReader(sd_bus_message* message)
        : message(message)
    {
    }

    int read(NSAppleEventDescriptor& descriptor, int depth = 0);

private:
    int readListVariant(NSAppleEventDescriptor& list, int depth);
    int readBytesVariant(uint32_t type, NSAppleEventDescriptor& descriptor);

    sd_bus_message* const message;
    int left = kMostDescriptors;
};

int DescriptorReader::readListVariant(NSAppleEventDescriptor& list, int depth)
{
    if (depth >= kDeepestList)
        return -EBADMSG;
    list = NSAppleEventDescriptor::listDescriptor();
    int result = busCalls().message_enter_container(message, 'v', "a(uv)");
    if (result > 0)
        result = busCalls().message_enter_container(message, 'a', "(uv)");
    while (result > 0 && busCalls().message_at_end(message, 0) == 0) {
        NSAppleEventDescriptor item;
        result = read(item, depth + 1);
        list.insertDescriptor(std::move(item), 0);
    }
    if (result >= 0)
        result = busCalls().message_exit_container(message);
    return result >= 0 ? busCalls().message_exit_container(message) : result;
}

int DescriptorReader::readBytesVariant(uint32_t type, NSAppleEventDescriptor& descriptor)
{
    const void* bytes = nullptr;
    std::size_t length = 0;
    int result = busCalls().message_enter_container(message, 'v', "ay");
    if (result > 0)
        result = busCalls().message_read_array(message, 'y', &bytes, &length);
    if (result >= 0) {
        const auto* const first = static_cast<const char*>(bytes);
        descriptor = NSAppleEventDescriptor::descriptorWithDescriptorType(
            type, length > 0 ? std::string(first, length) : std::string());
        result = busCalls().message_exit_container(message);
    }
    return result;
}

int DescriptorReader::read(NSAppleEventDescriptor& descriptor, int depth)
{
    if (left-- == 0)
        return -EBADMSG;
    uint32_t type = 0;
    int result = busCalls().message_enter_container(message, 'r', "uv");
    if (result > 0)
        result = busCalls().message_read_basic(message, 'u', &type);
    if (result > 0)
        result = type == typeAEList ? readListVariant(descriptor, depth) : readBytesVariant(type, descriptor);
    if (result >= 0)
        result = busCalls().message_exit_container(message);
    return result;
}

} // namespace

int EventWire::appendEvent(sd_bus_message* message, const AppleEvent& event)
{
    const int result = busCalls().message_append(
        message, "uuii", event.eventClass, event.eventID, event.returnID, event.transactionID);
    return result >= 0 ? appendParameters(message, event) : result;
}

int EventWire::appendParameters(sd_bus_message* message, const AppleEvent& event)
{
    int result = busCalls().message_open_container(message, 'a', "(u(uv))");
    for (const auto& [keyword, descriptor] : event.parameters) {
        if (result >= 0)
            result = busCalls().message_open_container(message, 'r', "u(uv)");
        if (result >= 0)
            result = busCalls().message_append_basic(message, 'u', &keyword);
        if (result >= 0)
            result = appendDescriptor(message, descriptor);
        if (result >= 0)
            result = busCalls().message_close_container(message);
    }
    return result >= 0 ? busCalls().message_close_container(message) : result;
}

int EventWire::readEvent(sd_bus_message* message, AppleEvent& event)
{
    const int result = busCalls().message_read(
        message, "uuii", &event.eventClass, &event.eventID, &event.returnID, &event.transactionID);
    return result >= 0 ? readParameters(message, event) : result;
}

int EventWire::readParameters(sd_bus_message* message, AppleEvent& event)
{
    DescriptorReader reader(message);
    int result = busCalls().message_enter_container(message, 'a', "(u(uv))");
    while (result > 0 && busCalls().message_at_end(message, 0) == 0) {
        uint32_t keyword = 0;
        NSAppleEventDescriptor descriptor;
        result = busCalls().message_enter_container(message, 'r', "u(uv)");
        if (result > 0)
            result = busCalls().message_read_basic(message, 'u', &keyword);
        if (result > 0)
            result = reader.read(descriptor);
        if (result >= 0)
            result = busCalls().message_exit_container(message);
        if (result >= 0)
            event.setDescriptor(std::move(descriptor), keyword);
    }
    return result >= 0 ? busCalls().message_exit_container(message) : result;
}
