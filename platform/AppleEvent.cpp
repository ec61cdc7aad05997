#include "AppleEvent.h"

#include <stdexcept>
#include <utility>

std::string ProcessSerialNumber::bytes() const
{
    std::string result;
    for (const uint32_t half : { highLongOfPSN, lowLongOfPSN }) {
        for (int shift = 24; shift >= 0; shift -= 8)
            result += static_cast<char>(half >> shift);
    }
    return result;
}

NSAppleEventDescriptor NSAppleEventDescriptor::descriptorWithDescriptorType(uint32_t type, std::string bytes)
{
    NSAppleEventDescriptor descriptor;
    descriptor.type_ = type;
    descriptor.bytes_ = std::move(bytes);
    return descriptor;
}

NSAppleEventDescriptor NSAppleEventDescriptor::descriptorWithBoolean(bool value)
{
    return descriptorWithDescriptorType(typeBoolean, std::string(1, value ? '\1' : '\0'));
}

NSAppleEventDescriptor NSAppleEventDescriptor::listDescriptor()
{
    return descriptorWithDescriptorType(typeAEList, {});
}

void NSAppleEventDescriptor::insertDescriptor(NSAppleEventDescriptor descriptor, std::size_t index)
{
    if (index == 0 || index == items_.size() + 1)
        items_.push_back(std::move(descriptor));
    else if (index <= items_.size())
        items_[index - 1] = std::move(descriptor);
    else
        throw std::out_of_range("descriptor index");
}

const NSAppleEventDescriptor* NSAppleEventDescriptor::descriptorAtIndex(std::size_t index) const
{
    return index >= 1 && index <= items_.size() ? &items_[index - 1] : nullptr;
}

const NSAppleEventDescriptor* AppleEvent::paramDescriptorForKeyword(uint32_t keyword) const
{
    const auto found = parameters.find(keyword);
    return found != parameters.end() ? &found->second : nullptr;
}

void AppleEvent::setDescriptor(NSAppleEventDescriptor descriptor, uint32_t keyword)
{
    parameters.insert_or_assign(keyword, std::move(descriptor));
}

int16_t AESizeOfParam(const AppleEvent& event, uint32_t keyword, std::size_t& size)
{
    const NSAppleEventDescriptor* const descriptor = event.paramDescriptorForKeyword(keyword);
    if (descriptor == nullptr)
        return errAEDescNotFound;
    size = descriptor->data().size();
    return noErr;
}

int16_t AEGetParamPtr(const AppleEvent& event, uint32_t keyword, bool& value)
{
    const NSAppleEventDescriptor* const descriptor = event.paramDescriptorForKeyword(keyword);
    if (descriptor == nullptr)
        return errAEDescNotFound;
    if (descriptor->descriptorType() != typeBoolean || descriptor->data().size() != 1)
        return errAECoercionFail;
    value = descriptor->data()[0] != '\0';
    return noErr;
}

int16_t AEGetParamPtr(const AppleEvent& event, uint32_t keyword, uint32_t& value)
{
    const NSAppleEventDescriptor* const descriptor = event.paramDescriptorForKeyword(keyword);
    if (descriptor == nullptr)
        return errAEDescNotFound;
    if (descriptor->descriptorType() != typeMagnitude || descriptor->data().size() != 4)
        return errAECoercionFail;
    uint32_t number = 0;
    for (const char byte : descriptor->data())
        number = number << 8 | static_cast<unsigned char>(byte);
    value = number;
    return noErr;
}
