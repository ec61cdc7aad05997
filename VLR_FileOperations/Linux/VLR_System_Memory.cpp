#include "VLR_System.h"

#include "NSLog.h"
#include "VLR_Exception.h"
#include "VLR_Guards.h"
#include "VLR_RawMemory.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <utility>

#include <string.h> // explicit_bzero

namespace {

void* ObtainZeroed(std::size_t size)
{
    return std::calloc(1, size);
}

VLR_RawMemory gRawMemory { ObtainZeroed, std::free };

/// Building the report of a failed allocation needs memory too. When that fails in its turn, the report goes out as
/// the language's own, which needs none.
class StVLR_ReportingNoMemory {
public:
    StVLR_ReportingNoMemory()
    {
        if (active)
            throw std::bad_alloc();
        active = true;
    }
    ~StVLR_ReportingNoMemory() { active = false; }
    StVLR_ReportingNoMemory(const StVLR_ReportingNoMemory&) = delete;
    StVLR_ReportingNoMemory& operator=(const StVLR_ReportingNoMemory&) = delete;

private:
    static bool active;
};

bool StVLR_ReportingNoMemory::active = false;

const char* TextOrNothing(const char* text)
{
    return text != nullptr ? text : "";
}

} // namespace

VLR_RawMemory VLR_SetRawMemory(const VLR_RawMemory& source)
{
    return std::exchange(gRawMemory, source);
}

unsigned char* VLR_System::Allocate(unsigned int n)
{
    const bool framingFits = n <= std::numeric_limits<uint32_t>::max() - kGuardFraming;
    const uint32_t totalSize = n + kGuardFraming;
    auto* const base = framingFits ? static_cast<unsigned char*>(gRawMemory.obtainZeroed(totalSize)) : nullptr;
    if (base == nullptr) {
        const StVLR_ReportingNoMemory whileReporting;
        VLR_RAISE(kCantAllocate);
    }
    SetGuards(base, totalSize);
    return base + kGuardPayloadOffset;
}

void VLR_System::Free(unsigned char* payload)
{
    if (payload == nullptr)
        return;
    CheckGuards(payload, /*freeing=*/true);
    gRawMemory.giveBack(payload - kGuardPayloadOffset);
}

void VLR_System::MemCopy(void* destination, const void* source, unsigned int n)
{
    if (n > 0)
        std::memmove(destination, source, n);
}

void VLR_System::MemSet(void* destination, int value, unsigned int n)
{
    if (n > 0)
        std::memset(destination, value, n);
}

void VLR_System::MemWipe(void* destination, unsigned int n)
{
    if (n > 0)
        explicit_bzero(destination, n);
}

int32_t VLR_System::MemCompare(const void* a, const void* b, unsigned int n)
{
    const auto* const left = static_cast<const unsigned char*>(a);
    const auto* const right = static_cast<const unsigned char*>(b);
    if (n == 0 || std::memcmp(left, right, n) == 0)
        return 0;
    uint32_t i = 0;
    while (left[i] == right[i])
        ++i;
    return left[i] - right[i];
}

void VLR_System::Log(const char* a, const char* b, const char* c, int d)
{
    Log(a, b, c, std::to_string(d).c_str());
}

void VLR_System::Log(const char* a, const char* b, const char* c, const char* d)
{
    std::string line;
    for (const char* const piece : { a, b, c, d }) {
        line += TextOrNothing(piece);
        line += ' ';
    }
    NSLog(line);
}

void VLR_System::Log(const char* text, const VLR_String& value)
{
    std::string line = text;
    if (!line.empty())
        line += ' ';
    line.append(reinterpret_cast<const char*>(value.Bytes()), value.Length());
    NSLog(line.c_str()); // a line ends at a zero byte
}
