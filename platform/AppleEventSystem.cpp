#include "AppleEventSystem.h"

namespace {

std::size_t sizeOf(const NSAppleEventDescriptor& descriptor)
{
    std::size_t size = descriptor.data().size();
    for (const NSAppleEventDescriptor& item : descriptor.items())
        size += sizeOf(item);
    return size;
}

} // namespace

int16_t AppleEventSystem::AESend(const AppleEvent& event, AppleEvent& reply, const AESendOptions&)
{
    return AESend(event, reply);
}

std::optional<NSAppleEventDescriptor> AppleEventSystem::listDescriptor()
{
    return NSAppleEventDescriptor::listDescriptor();
}

std::optional<NSAppleEventDescriptor> AppleEventSystem::descriptorWithDescriptorType(
    uint32_t type, const std::string& bytes)
{
    if (bytes.size() > kLargestDescriptor)
        return std::nullopt;
    return NSAppleEventDescriptor::descriptorWithDescriptorType(type, bytes);
}

int16_t AppleEventSystem::AEPutParamDesc(
    AppleEvent& event, uint32_t keyword, const NSAppleEventDescriptor& descriptor)
{
    if (sizeOf(descriptor) > kLargestDescriptor)
        return memFullErr;
    event.setDescriptor(descriptor, keyword);
    return noErr;
}
