#include "VLR_Guards.h"

#include "VLR_Exception.h"

#include <algorithm>
#include <cstring>
#include <functional>

uint32_t gAllocationCount = 0;
uint32_t gFreeCount = 0;
uint32_t gAllocationBytesCurrentTotal = 0;
uint32_t gAllocationBytesHighWaterTotal = 0;

namespace {

constexpr uint32_t kBeginningGuard = 0x11223344;
constexpr unsigned char kEndingGuard[4] = { 0x11, 0x22, 0x33, 0x44 };

uint32_t WordAt(const unsigned char* address)
{
    uint32_t word = 0;
    std::memcpy(&word, address, sizeof word);
    return word;
}

unsigned char* CurrentStackPosition()
{
    return static_cast<unsigned char*>(__builtin_frame_address(0));
}

} // namespace

unsigned char* gStackTop = CurrentStackPosition();

void SetGuards(unsigned char* base, unsigned int totalSize)
{
    std::memcpy(base, &totalSize, sizeof totalSize);
    std::memcpy(base + 4, &kBeginningGuard, sizeof kBeginningGuard);
    std::memcpy(base + totalSize - sizeof kEndingGuard, kEndingGuard, sizeof kEndingGuard);

    ++gAllocationCount;
    gAllocationBytesCurrentTotal += totalSize;
    // Compared as signed numbers: above 2 GiB the mark stays where it is.
    if (static_cast<int32_t>(gAllocationBytesCurrentTotal) > static_cast<int32_t>(gAllocationBytesHighWaterTotal))
        gAllocationBytesHighWaterTotal = gAllocationBytesCurrentTotal;
}

void CheckGuards(unsigned char* payload, bool freeing)
{
    if (payload == nullptr)
        return;
    if (WordAt(payload - 4) != kBeginningGuard)
        VLR_RAISE(kBadBeginningGuard);
    const uint32_t totalSize = WordAt(payload - kGuardPayloadOffset);
    const unsigned char* const end = payload + totalSize - kGuardFraming;
    if (end[0] != 0x11 || end[1] != 0x22 || end[2] != 0x33 || end[3] != 0x44)
        VLR_RAISE(kBadEndingGuard);
    if (freeing) {
        ++gFreeCount;
        gAllocationBytesCurrentTotal -= totalSize;
    }
}

void* StackTop()
{
    return CurrentStackPosition();
}

void AssertAddressOnStack(void* address)
{
    unsigned char* const here = CurrentStackPosition();
    unsigned char* const low = std::min(here, gStackTop, std::less<>());
    unsigned char* const high = std::max(here, gStackTop, std::less<>());
    auto* const tested = static_cast<unsigned char*>(address);
    if (!std::less<>()(tested, low) && !std::less<>()(high, tested))
        VLR_RAISE(kAddressOnStack);
}
