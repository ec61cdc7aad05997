#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// Four characters as a number, as the event system names its types, classes and keywords.
constexpr uint32_t fourCharCode(const char (&text)[5])
{
    uint32_t code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8 | static_cast<unsigned char>(text[i]);
    return code;
}

inline constexpr uint32_t typeAEList = fourCharCode("list");
inline constexpr uint32_t typeBoolean = fourCharCode("bool");
inline constexpr uint32_t typeFileURL = fourCharCode("furl");
inline constexpr uint32_t typeUTF8Text = fourCharCode("utf8");
inline constexpr uint32_t typeProcessSerialNumber = fourCharCode("psn ");
inline constexpr uint32_t typeMagnitude = fourCharCode("magn"); // unsigned, 4 bytes, big-endian
inline constexpr uint32_t keyDirectObject = fourCharCode("----");
inline constexpr uint32_t kCoreEventClass = fourCharCode("aevt");

/// The classic error numbers of the event system that this product meets.
enum AEError : int16_t {
    noErr = 0,
    paramErr = -50,
    procNotFound = -600,
    memFullErr = -108,
    errAECoercionFail = -1700,
    errAEDescNotFound = -1701,
    errAEEventNotHandled = -1708,
    errAETimeout = -1712
};

/// A running process, as the event system knows it.
struct ProcessSerialNumber {
    uint32_t highLongOfPSN = 0;
    uint32_t lowLongOfPSN = 0; // the process id

    /// The two halves, big-endian.
    std::string bytes() const;

    bool operator==(const ProcessSerialNumber&) const = default;
};

/// A typed value of the event system: bytes, or a list of such values.
class NSAppleEventDescriptor {
public:
    static NSAppleEventDescriptor descriptorWithDescriptorType(uint32_t type, std::string bytes);
    static NSAppleEventDescriptor descriptorWithBoolean(bool value);
    static NSAppleEventDescriptor listDescriptor();

    uint32_t descriptorType() const { return type_; }
    const std::string& data() const { return bytes_; }
    bool isList() const { return type_ == typeAEList; }
    const std::vector<NSAppleEventDescriptor>& items() const { return items_; }

    /// Index 0 appends; any other, from 1, replaces or appends the item there. Raises: std::out_of_range beyond.
    void insertDescriptor(NSAppleEventDescriptor descriptor, std::size_t index);

    /// Counts from 1. Null if there is no such item.
    const NSAppleEventDescriptor* descriptorAtIndex(std::size_t index) const;

    bool operator==(const NSAppleEventDescriptor&) const = default;

private:
    uint32_t type_ = 0;
    std::string bytes_;
    std::vector<NSAppleEventDescriptor> items_;
};

/// An event, or the reply to one: descriptors by keyword.
struct AppleEvent {
    uint32_t eventClass = 0;
    uint32_t eventID = 0;
    NSAppleEventDescriptor targetDescriptor; // of the type typeProcessSerialNumber
    int32_t returnID = -1; // generate automatically
    int32_t transactionID = 0; // none
    std::map<uint32_t, NSAppleEventDescriptor> parameters;

    /// Null if there is no such parameter.
    const NSAppleEventDescriptor* paramDescriptorForKeyword(uint32_t keyword) const;
    void setDescriptor(NSAppleEventDescriptor descriptor, uint32_t keyword);
};

/// The number of bytes of a parameter, or errAEDescNotFound.
int16_t AESizeOfParam(const AppleEvent& event, uint32_t keyword, std::size_t& size);

/// A parameter as a boolean: errAEDescNotFound without one, errAECoercionFail for what is no boolean of 1 byte.
int16_t AEGetParamPtr(const AppleEvent& event, uint32_t keyword, bool& value);

/// A parameter as an unsigned number: errAECoercionFail for what is no typeMagnitude of 4 bytes.
int16_t AEGetParamPtr(const AppleEvent& event, uint32_t keyword, uint32_t& value);
