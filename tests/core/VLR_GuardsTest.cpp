#include "VLR_Guards.h"
#include "CoreFixture.h"
#include "VLR_System.h"
#include "WatchedMemory.h"

#include <memory>
#include <new>

namespace {

TEST(Guards, FrameEveryAllocation)
{
    unsigned char* const payload = VLR_System::Allocate(5);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(payload) - 8, 17),
        std::string("\x11\0\0\0\x44\x33\x22\x11\0\0\0\0\0\x11\x22\x33\x44", 17));
    VLR_System::Free(payload);
}

TEST(Guards, CountersFollowAllocationAndRelease)
{
    const uint32_t allocations = gAllocationCount, frees = gFreeCount, total = gAllocationBytesCurrentTotal;
    unsigned char* const none = VLR_System::Allocate(0);
    unsigned char* const some = VLR_System::Allocate(100);
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(gAllocationCount, allocations + 2);
    EXPECT_EQ(gAllocationBytesCurrentTotal, total + 12 + 112);
    const uint32_t highWater = gAllocationBytesHighWaterTotal;
    EXPECT_GE(highWater, total + 124);
    CheckGuards(some, /*freeing=*/false);
    VLR_System::Free(nullptr);
    CheckGuards(nullptr, /*freeing=*/true);
    EXPECT_EQ(gFreeCount, frees);
    VLR_System::Free(none);
    VLR_System::Free(some);
    EXPECT_EQ(gFreeCount, frees + 2);
    EXPECT_EQ(gAllocationBytesCurrentTotal, total);
    EXPECT_EQ(gAllocationBytesHighWaterTotal, highWater);
}

TEST(Guards, AWriteBesideThePayloadIsNoticed)
{
    for (const int offset : { -4, -1, 3, 6 }) {
        unsigned char* const payload = VLR_System::Allocate(3);
        const unsigned char kept = payload[offset];
        payload[offset] = static_cast<unsigned char>(kept + 1);
        const uint32_t total = gAllocationBytesCurrentTotal;
        EXPECT_EQ(
            failure([&] { VLR_System::Free(payload); }), offset < 0 ? "Bad beginning guard." : "Bad ending guard.");
        EXPECT_EQ(gAllocationBytesCurrentTotal, total); // nothing was released
        payload[offset] = kept;
        VLR_System::Free(payload);
    }
}

TEST(Guards, AnAllocationThatCantBeFramedIsRefused)
{
    for (const unsigned int n : { 0xFFFFFFFFu, 0xFFFFFFF4u })
        EXPECT_EQ(failure([n] { VLR_System::Allocate(n); }), "Can't allocate");
}

TEST(Guards, WithoutMemoryTheReportItselfMayFail)
{
    const WatchedMemory memory;
    for (std::size_t left = 0; left < 3; ++left) { // the report's own texts can't be had either
        WatchedMemory::left = left;
        EXPECT_THROW(
            {
                unsigned char* const payload = VLR_System::Allocate(1);
                VLR_System::Free(payload);
                WatchedMemory::left = 0;
                VLR_System::Allocate(1);
            },
            std::bad_alloc);
    }
    WatchedMemory::left = SIZE_MAX;
}

TEST(Guards, KnowTheStack)
{
    int local = 0;
    auto heap = std::make_unique<int>();
    EXPECT_EQ(failure([&] { AssertAddressOnStack(&local); }), "address on stack not allowed");
    EXPECT_EQ(failure([&] { AssertAddressOnStack(gStackTop); }), "address on stack not allowed");
    EXPECT_EQ(failure([&] { AssertAddressOnStack(heap.get()); }), "");
    EXPECT_LT(static_cast<unsigned char*>(StackTop()), gStackTop);
}

} // namespace
