#include "AppleEventSystem.h"

#include <algorithm>

#include <unistd.h>

namespace {

/// Bundle identifiers are ASCII.
std::string lowercased(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

std::size_t sizeOf(const NSAppleEventDescriptor& descriptor)
{
    std::size_t size = descriptor.data().size();
    for (const NSAppleEventDescriptor& item : descriptor.items())
        size += sizeOf(item);
    return size;
}

} // namespace

std::optional<ProcessSerialNumber> AppleEventSystem::findProcess(const std::string& bundleIdentifier)
{
    const std::string wanted = lowercased(bundleIdentifier);
    for (const std::string& running : runningBundleIdentifiers()) {
        if (lowercased(running) != wanted)
            continue;
        const std::optional<uint32_t> pid = processID(running);
        if (pid && *pid != static_cast<uint32_t>(::getpid())) // a process never finds itself
            return ProcessSerialNumber { 0, *pid };
    }
    return std::nullopt;
}

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

int16_t AppleEventSystem::AEPutParamDesc(AppleEvent& event, uint32_t keyword, const NSAppleEventDescriptor& descriptor)
{
    if (sizeOf(descriptor) > kLargestDescriptor)
        return memFullErr;
    event.setDescriptor(descriptor, keyword);
    return noErr;
}
