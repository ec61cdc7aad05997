#include "VLR_SystemConversions.h"

#include "NSException.h"
#include "NSFileManager.h"
#include "VLR_Exception.h"
#include "VLR_System.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr double kFullIntensity = 65535.0;

/// What is absent has no class.
[[noreturn]] void RaiseBadClass(const char* expectedClass)
{
    NSException::raise("Bad Class", std::string("(null) is not kind of ") + expectedClass + " (SysToVLR)");
}

/// Cut to 16 bits. What no 16-bit integer can hold, NaN included, becomes the nearest one, or 0.
int16_t CutToSInt16(double value)
{
    return std::isnan(value) ? int16_t { 0 } : static_cast<int16_t>(std::clamp(value, -32768.0, 32767.0));
}

uint16_t IntensityOf(double component)
{
    const double intensity = component * kFullIntensity;
    return std::isnan(intensity) ? uint16_t { 0 } : static_cast<uint16_t>(std::clamp(intensity, 0.0, kFullIntensity));
}

class StOpenFile {
public:
    explicit StOpenFile(const std::string& path)
        : descriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC))
    {
    }
    ~StOpenFile()
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }
    StOpenFile(const StOpenFile&) = delete;
    StOpenFile& operator=(const StOpenFile&) = delete;

    const int descriptor;
};

bool ReadWhole(int descriptor, VLR_MemoryBlock& block)
{
    uint32_t filled = 0;
    while (filled < block.Length()) {
        const ssize_t got = ::read(descriptor, block.Bytes() + filled, block.Length() - filled);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        filled += static_cast<uint32_t>(got);
    }
    return true;
}

} // namespace

std::string VLRToSysAlloc(const VLR_String& text)
{
    return VLRToSys(text);
}

std::string VLRToSys(const VLR_String& text)
{
    return text.IsEmpty() ? std::string() : std::string(reinterpret_cast<const char*>(text.Bytes()), text.Length());
}

std::string VLRToSysAlloc(const VLR_String* text)
{
    return VLRToSys(text);
}

std::string VLRToSys(const VLR_String* text)
{
    return text != nullptr ? VLRToSys(*text) : std::string();
}

std::string VLRStringSummary(const VLR_String* text)
{
    return VLRToSys(text);
}

VLR_String SysToVLR(const std::optional<std::string>& text)
{
    if (!text)
        RaiseBadClass("NSString");
    return VLR_String(text->c_str(), VLR_CharacterSetUTF8);
}

NSData VLRToSysAlloc(const VLR_MemoryBlock& block)
{
    return VLRToSys(block);
}

NSData VLRToSys(const VLR_MemoryBlock& block)
{
    return NSData::dataWithBytes(block.Bytes(), block.Length());
}

VLR_MemoryBlock SysToVLR(const std::optional<NSData>& data)
{
    VLR_MemoryBlock borrowed;
    SysToVLR(data, borrowed);
    return VLR_MemoryBlock(std::as_const(borrowed).Bytes(), borrowed.Length());
}

void SysToVLR(const std::optional<NSData>& data, VLR_MemoryBlock& block)
{
    if (!data)
        RaiseBadClass("NSData");
    SysToVLR(*data, block);
}

void SysToVLR(const NSData& data, VLR_MemoryBlock& block)
{
    if (data.length() > UINT32_MAX)
        VLR_RAISE(VLR_System::kCantAllocate);
    block.Borrow(data.bytes(), static_cast<uint32_t>(data.length()));
}

CGRect VLRToSys(const VLR_Rect& rect)
{
    return { static_cast<double>(rect.left), static_cast<double>(rect.top), static_cast<double>(rect.right) - rect.left,
        static_cast<double>(rect.bottom) - rect.top };
}

VLR_Rect SysToVLR(const CGRect& rect)
{
    VLR_Rect result;
    result.top = CutToSInt16(rect.y);
    result.left = CutToSInt16(rect.x);
    result.bottom = CutToSInt16(rect.y + rect.height);
    result.right = CutToSInt16(rect.x + rect.width);
    return result;
}

NSColor VLRToSys(const VLR_Color& color)
{
    return NSColor::colorWithDeviceRGB(
        { color.red / kFullIntensity, color.green / kFullIntensity, color.blue / kFullIntensity, 1.0 });
}

VLR_Color SysToVLR(const std::optional<NSColor>& color)
{
    if (!color)
        RaiseBadClass("NSColor");
    constexpr NSColor::RGB kWhite { 1, 1, 1, 1 };
    std::optional<NSColor::RGB> components = color->components();
    if (!components) {
        const std::optional<NSColor> converted = color->colorUsingRGBSpace();
        components = converted ? converted->components() : std::nullopt;
    }
    const NSColor::RGB rgb = components.value_or(kWhite);
    return { IntensityOf(rgb.red), IntensityOf(rgb.green), IntensityOf(rgb.blue) };
}

NSRange VLRToSys(const VLR_Range& range)
{
    return range == kVLR_RangeNotFound ? NSRange { NSNotFound, 0 } : NSRange { range.location, range.length };
}

VLR_Range SysToVLR(const NSRange& range)
{
    if (range.location == NSNotFound)
        return kVLR_RangeNotFound;
    return { static_cast<uint32_t>(range.location), static_cast<uint32_t>(range.length) };
}

bool VLRWriteToFile(const VLR_MemoryBlock& block, const std::string& path)
{
    return LinuxFileManager().writeToFile(NSData::dataWithBytesNoCopy(block.Bytes(), block.Length()), path);
}

bool VLRReadFromFile(VLR_MemoryBlock& block, const std::string& path, uint32_t largest)
{
    const StOpenFile file(path);
    struct stat status { };
    if (file.descriptor < 0 || ::fstat(file.descriptor, &status) != 0 || !S_ISREG(status.st_mode)
        || status.st_size > int64_t { largest })
        return false;
    try {
        block.Resize(static_cast<uint32_t>(status.st_size));
    } catch (...) {
        return false;
    }
    return ReadWhole(file.descriptor, block);
}
