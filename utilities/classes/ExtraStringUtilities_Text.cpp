#include "ExtraStringUtilities.h"

#include "ExtraApplicationUtilities.h"
#include "NSAutoreleasePool.h"
#include "NSException.h"
#include "NSPasteboard.h"
#include "TextBytes.h"
#include "UtilityExceptions.h"
#include "VLR_System.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include <unistd.h>

namespace {

constexpr char kPascalStringFailed[] = "Unable to CFStringGetPascalString.";
constexpr int kPascalStringFailedLine = 1170;
constexpr std::size_t kLongestPascalText = 127; // UTF-16 code units
constexpr std::size_t kPascalBufferSize = 256;

std::string textForKey(const NSPropertyList::Dictionary& dictionary, const char* key)
{
    const auto found = dictionary.find(key);
    const std::string* const text = found != dictionary.end() ? found->second.as<std::string>() : nullptr;
    return text != nullptr ? *text : std::string();
}

/// UTF-16 code units of a block in host byte order.
uint16_t unitAt(const VLR_MemoryBlock& units, std::size_t index)
{
    uint16_t unit = 0;
    std::memcpy(&unit, units.Bytes() + 2 * index, sizeof unit);
    return unit;
}

uint8_t hexadecimalValue(uint16_t unit)
{
    const auto character = static_cast<uint8_t>(unit); // callers rely on the low 8 bits alone
    if (character >= '0' && character <= '9')
        return static_cast<uint8_t>(character - '0');
    const auto lower = static_cast<uint8_t>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? static_cast<uint8_t>(lower - 'a' + 10) : uint8_t { 0 };
}

/// What an autoreleased pascal string lies in.
class PascalBuffer final : public NSAutoreleased {
public:
    ~PascalBuffer() override { VLR_System::MemWipe(bytes.data(), kPascalBufferSize); }
    void dealloc() override { }

    std::array<unsigned char, kPascalBufferSize> bytes {};
};

std::optional<VLR_CharacterSetType> characterSet(uint32_t encoding)
{
    switch (encoding) {
    case ExtraStringUtilities::kTextEncodingMacRoman: return VLR_CharacterSetMacRoman;
    case ExtraStringUtilities::kTextEncodingASCII: return VLR_CharacterSetASCII;
    case ExtraStringUtilities::kTextEncodingUTF8: return VLR_CharacterSetUTF8;
    default: return std::nullopt;
    }
}

/// The text's first code units, up to the most that a pascal string takes.
VLR_MemoryBlock unitsForPascalString(const VLR_String& text)
{
    VLR_MemoryBlock units = text.EncodedBlock(VLR_CharacterSetUTF16);
    std::size_t count = units.Length() / 2;
    if (count > kLongestPascalText) {
        const bool partsPair = (unitAt(units, kLongestPascalText - 1) & 0xFC00) == 0xD800;
        count = partsPair ? kLongestPascalText - 1 : kLongestPascalText;
        units.Resize(static_cast<uint32_t>(2 * count));
    }
    return units;
}

/// False if the text can't be expressed as a whole, or has no room.
bool getPascalString(const VLR_String& text, uint32_t encoding, std::array<unsigned char, kPascalBufferSize>& buffer)
{
    const std::optional<VLR_CharacterSetType> set = characterSet(encoding);
    const bool isValid = text.IsEmpty() || VLR_System::LengthOfString(text) > 0;
    if (!set || !isValid)
        return false;
    const VLR_MemoryBlock units = unitsForPascalString(text);
    VLR_MemoryBlock encoded;
    VLR_System::ConvertString(units, VLR_CharacterSetUTF16, encoded, *set);
    const bool isWhole = *set == VLR_CharacterSetUTF8 || encoded.Length() == units.Length() / 2;
    if (!isWhole || encoded.Length() >= buffer.size())
        return false;
    buffer[0] = static_cast<unsigned char>(encoded.Length());
    std::copy_n(encoded.Bytes(), encoded.Length(), buffer.data() + 1);
    return true;
}

} // namespace

VLR_String ExtraStringUtilities::stringWithClipboard()
{
    const std::optional<NSData> data = NSPasteboard::generalPasteboard().dataForType(NSStringPboardType);
    if (!data)
        return {};
    return textWithBytes({ reinterpret_cast<const char*>(data->bytes()), data->length() });
}

void ExtraStringUtilities::copyToClipboard(const VLR_String& text)
{
    NSPasteboard& pasteboard = NSPasteboard::generalPasteboard();
    const std::string tag = clipboardTag();
    pasteboard.declareTypes({ NSStringPboardType, tag, PasswordPboardType }, /*owner=*/nullptr);
    pasteboard.setStringForType(bytesOf(text), NSStringPboardType);
    pasteboard.setStringForType(".", tag);
    pasteboard.setStringForType(PasswordPboardType, PasswordPboardType);
}

std::string ExtraStringUtilities::clipboardTag()
{
    return "ClipboardTag" + std::to_string(::getpid());
}

std::string ExtraStringUtilities::stringWithFrontProcessName(const NSWorkspace& workspace)
{
    const std::optional<ProcessSerialNumber> front = workspace.GetFrontProcess();
    return front ? workspace.CopyProcessName(*front) : std::string();
}

std::string ExtraStringUtilities::stringWithFrontProcessBundleID(const NSWorkspace& workspace)
{
    // Read once for the life of the program: callers rely on the first front process staying the answer.
    static const NSPropertyList::Dictionary dict = ExtraApplicationUtilities::frontProcessInformation(workspace);
    return textForKey(dict, "CFBundleIdentifier");
}

std::string ExtraStringUtilities::stringWithFrontProcessCreator(const NSWorkspace& workspace)
{
    return textForKey(ExtraApplicationUtilities::frontProcessInformation(workspace), "FileCreator");
}

NSData ExtraStringUtilities::dataFromHexadecimalString(const VLR_String& text)
{
    const VLR_MemoryBlock units = text.EncodedBlock(VLR_CharacterSetUTF16);
    VLR_MemoryBlock bytes(units.Length() / 4);
    for (uint32_t i = 0; i < bytes.Length(); ++i) {
        const int high = hexadecimalValue(unitAt(units, std::size_t { 2 } * i));
        const int low = hexadecimalValue(unitAt(units, std::size_t { 2 } * i + 1));
        bytes.Bytes()[i] = static_cast<unsigned char>(high * 16 + low);
    }
    return NSData::dataWithSecretBytes(bytes.Bytes(), bytes.Length());
}

const unsigned char* ExtraStringUtilities::pascalStringWithEncoding(const VLR_String& text, uint32_t encoding)
{
    const auto buffer = std::make_shared<PascalBuffer>();
    if (!getPascalString(text, encoding, buffer->bytes))
        raiseInconsistency(kPascalStringFailed, "pascalStringWithEncoding:", kPascalStringFailedLine);
    NSAutoreleasePool::autorelease(buffer);
    return buffer->bytes.data();
}

const unsigned char* ExtraStringUtilities::pascalString(const VLR_String& text)
{
    return pascalStringWithEncoding(text, kTextEncodingMacRoman);
}

void ExtraStringUtilities::pascalStringInto(const VLR_String& text, std::span<unsigned char> buffer, uint8_t buffSize)
{
    const NSAutoreleasePool whileCopying;
    const unsigned char* const whole = pascalString(text);
    const std::size_t size = std::min<std::size_t>(whole[0] + 1U, buffSize);
    if (size == 0 || size > buffer.size())
        NSException::raise("NSRangeException", "pascalStringInto:buffSize: the buffer is too small.");
    buffer[0] = static_cast<unsigned char>(size - 1);
    std::copy_n(whole + 1, size - 1, buffer.data() + 1);
}

std::optional<VLR_String> ExtraStringUtilities::stringWithPascalString(const unsigned char* pascalString)
{
    if (pascalString == nullptr)
        return std::nullopt;
    const VLR_MemoryBlock bytes(pascalString + 1, pascalString[0]);
    return VLR_String(bytes, VLR_CharacterSetMacRoman);
}
