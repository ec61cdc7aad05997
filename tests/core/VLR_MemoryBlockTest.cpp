#include "VLR_MemoryBlock.h"
#include "CoreFixture.h"
#include "VLR_System.h"
#include "WatchedMemory.h"

#include <memory>
#include <utility>

namespace {

VLR_MemoryBlock blockOf(const std::string& bytes)
{
    return VLR_MemoryBlock(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
}

bool tailIsZero(const VLR_MemoryBlock& block)
{
    for (uint32_t i = block.Length(); i < block.Capacity(); ++i) {
        if (block.Bytes()[i] != 0)
            return false;
    }
    return true;
}

TEST(VLR_MemoryBlock, GrowsByFixedSteps)
{
    VLR_MemoryBlock block;
    EXPECT_EQ(block.Bytes(), nullptr);
    const std::vector<std::pair<uint32_t, uint32_t>> kSteps { { 1, 17 }, { 18, 82 }, { 83, 339 }, { 340, 596 },
        { 597, 853 }, { 854, 1110 } };
    uint32_t length = 0;
    for (const auto& [at, capacity] : kSteps) {
        while (length < at) {
            block.AppendByte('x');
            ++length;
        }
        EXPECT_EQ(block.Capacity(), capacity);
    }
    block.Resize(0);
    EXPECT_EQ(block.Capacity(), 0u);
    block.Resize(1);
    EXPECT_EQ(block.Capacity(), 17u);
}

TEST(VLR_MemoryBlock, ConstructorsDifferInTheirStorage)
{
    EXPECT_EQ(VLR_MemoryBlock(0u).Capacity(), 16u);
    EXPECT_NE(VLR_MemoryBlock(0u).Bytes(), nullptr);
    EXPECT_EQ(VLR_MemoryBlock(nullptr, 0).Capacity(), 0u);
    EXPECT_EQ(str(VLR_MemoryBlock(nullptr, 3)), std::string(3, '\0'));
    VLR_MemoryBlock grown = blockOf("abc");
    VLR_MemoryBlock copy(grown);
    EXPECT_EQ(copy.Capacity(), grown.Capacity());
    copy.Resize(copy.Capacity() + 1);
    EXPECT_EQ(copy.Capacity(), 20u + 16u); // the steps begin anew
    const VLR_MemoryBlock none;
    const VLR_MemoryBlock copyOfNone(none);
    EXPECT_NE(copyOfNone.Bytes(), nullptr);
    EXPECT_EQ(copyOfNone.Capacity(), 0u);
}

TEST(VLR_MemoryBlock, NewAndRegrownBytesAreZero)
{
    VLR_MemoryBlock block = blockOf("secret");
    block.Resize(2);
    EXPECT_TRUE(tailIsZero(block));
    block.Resize(6);
    EXPECT_EQ(str(block), std::string("se\0\0\0\0", 6));
    block.Resize(200);
    EXPECT_EQ(str(block), "se" + std::string(198, '\0'));
    EXPECT_TRUE(tailIsZero(block));
}

TEST(VLR_MemoryBlock, WhatItGivesUpComesBackWiped)
{
    const WatchedMemory memory;
    {
        VLR_MemoryBlock block;
        for (int i = 0; i < 2000; ++i)
            block.Append("secret", 6);
        block.Resize(100);
        block.Reserve(50000);
        VLR_MemoryBlock copy(block);
        copy = block;
        block = blockOf("other");
        block.Resize(0);
        VLR_String text = S("secret");
        text = S("\xC3\x9F");
        text.ReplaceAll(S("SS"), S("secret"));
        unsigned char* const bare = VLR_System::Allocate(6);
        VLR_System::MemCopy(bare, "secret", 6);
        VLR_MemoryBlock::ClearAndFree(bare, 6);
        VLR_MemoryBlock::ClearAndFree(nullptr, 6);
    }
    EXPECT_EQ(WatchedMemory::obtained, WatchedMemory::returned);
    EXPECT_GT(WatchedMemory::returned, 20u);
    EXPECT_EQ(WatchedMemory::dirty, 0u);
}

TEST(VLR_MemoryBlock, ToldItsFinalSizeItMovesNoMore)
{
    const WatchedMemory memory;
    VLR_MemoryBlock block = blockOf("ab");
    block.Reserve(1000);
    EXPECT_EQ(block.Capacity(), 1000u);
    EXPECT_EQ(str(block), "ab");
    const std::size_t obtained = WatchedMemory::obtained;
    while (block.Length() < 1000)
        block.AppendByte('c');
    EXPECT_EQ(WatchedMemory::obtained, obtained);
    block.Reserve(10); // less than there is
    EXPECT_EQ(block.Capacity(), 1000u);
    block.AppendByte('d');
    EXPECT_EQ(block.Capacity(), 1017u);
}

TEST(VLR_MemoryBlock, WithoutMemoryItStaysAsItWas)
{
    VLR_MemoryBlock block = blockOf("abc");
    EXPECT_THROW(block.Resize(0xFFFFFFF0), VLR_Exception);
    EXPECT_THROW(block.Reserve(0xFFFFFFFF), VLR_Exception);
    EXPECT_THROW(block.Append("x", 0xFFFFFFFE), VLR_Exception); // the sum wraps; nothing is read
    EXPECT_EQ(str(block), "abc");
    EXPECT_EQ(block.Capacity(), 19u);
}

TEST(VLR_MemoryBlock, ABorrowedContentIsReadInPlaceAndCopiedBeforeAChange)
{
    const std::string owned = "abcdef";
    const auto* const source = reinterpret_cast<const unsigned char*>(owned.data());
    const struct {
        void (*change)(VLR_MemoryBlock&);
        std::string after;
    } kChanges[] = {
        { [](VLR_MemoryBlock& block) { block.Bytes()[0] = 'X'; }, "Xbcdef" },
        { [](VLR_MemoryBlock& block) { block.SetByteAtIndex('X', 5); }, "abcdeX" },
        { [](VLR_MemoryBlock& block) { block.Append("X", 1); }, "abcdefX" },
        { [](VLR_MemoryBlock& block) { block.AppendPiece(S("X")); }, "abcdefX" },
        { [](VLR_MemoryBlock& block) { block.Resize(2); }, "ab" },
        { [](VLR_MemoryBlock& block) { block.Resize(8); }, std::string("abcdef\0\0", 8) },
        { [](VLR_MemoryBlock& block) { block.Resize(6); }, "abcdef" },
        { [](VLR_MemoryBlock& block) { block.Reserve(100); }, "abcdef" },
        { [](VLR_MemoryBlock& block) { block.Resize(0); }, "" },
        { [](VLR_MemoryBlock& block) { block = VLR_MemoryBlock(block); }, "abcdef" },
    };
    for (const auto& c : kChanges) {
        const WatchedMemory memory;
        {
            VLR_MemoryBlock block = blockOf("before");
            block.Borrow(source, 6);
            const std::size_t obtained = WatchedMemory::obtained;
            EXPECT_TRUE(block.IsBorrowed());
            EXPECT_EQ(std::as_const(block).Bytes(), source);
            EXPECT_EQ(block.ByteAtIndex(5), 'f');
            EXPECT_EQ(WatchedMemory::obtained, obtained);
            c.change(block);
            EXPECT_FALSE(block.IsBorrowed());
            EXPECT_EQ(str(block), c.after);
            EXPECT_TRUE(tailIsZero(block));
        }
        EXPECT_EQ(owned, "abcdef");
        EXPECT_EQ(WatchedMemory::obtained, WatchedMemory::returned);
        EXPECT_EQ(WatchedMemory::dirty, 0u);
    }
    VLR_MemoryBlock borrowing;
    borrowing.Borrow(source, 6);
    const VLR_MemoryBlock copy(borrowing);
    EXPECT_FALSE(copy.IsBorrowed());
    EXPECT_EQ(str(copy), owned);
    VLR_MemoryBlock other = blockOf("other");
    other.Exchange(borrowing);
    EXPECT_EQ(std::as_const(other).Bytes(), source);
    EXPECT_EQ(str(borrowing), "other");
    const WatchedMemory scarce;
    WatchedMemory::left = 0;
    EXPECT_ANY_THROW(other.Bytes());
    EXPECT_EQ(std::as_const(other).Bytes(), source);
    other.Borrow(source, 0);
    EXPECT_FALSE(other.IsBorrowed());
    EXPECT_EQ(std::as_const(other).Bytes(), nullptr);
}

TEST(VLR_MemoryBlock, IndicesAreBounded)
{
    VLR_MemoryBlock block = blockOf("abc");
    block.SetByteAtIndex('X', 2);
    EXPECT_EQ(block.ByteAtIndex(2), 'X');
    for (const uint32_t index : { 3u, 10u, 0xFFFFFFFFu }) {
        EXPECT_THROW(block.ByteAtIndex(index), VLR_Exception);
        EXPECT_THROW(block.SetByteAtIndex('Y', index), VLR_Exception);
    }
}

TEST(VLR_MemoryBlock, OrdersByLengthFirst)
{
    const struct {
        std::string a, b;
        int32_t order;
    } kCases[] = { { "zz", "abc", -1 }, { "abc", "zz", 1 }, { "", "", 0 }, { "ab", "ab", 0 },
        { "a\xFF", "a\x01", 0xFE }, { std::string("\0", 1), "\x05", -5 } };
    for (const auto& c : kCases) {
        const VLR_MemoryBlock other = blockOf(c.b);
        EXPECT_EQ(blockOf(c.a).Compare(&other), c.order) << c.a << " " << c.b;
    }
}

TEST(VLR_MemoryBlock, ChecksumFoldsItsCarries)
{
    const struct {
        std::string bytes;
        uint16_t checksum;
    } kCases[] = {
        { "", 0 },
        { "\x01", 0 },
        { "\x01\x02\x03", 0x0102 },
        { std::string("\0\x01\xFF\xFF", 4), 1 },
        { std::string(4, '\xFF'), 0xFFFF },
        { std::string(131070, '\xFF'), 0xFFFF },
        { std::string(131072, '\x01'), 0x0101 }, // more words than 16 bits count
        { std::string(300001, '\x01'), 0x3C3C },
    };
    for (const auto& c : kCases)
        EXPECT_EQ(blockOf(c.bytes).ComputeChecksum(), c.checksum) << c.bytes.size();
}

class Hooked final : public VLR_MemoryBlock {
public:
    void MemoryBlockChanged() override { ++changes; }
    int changes = 0;
};

TEST(VLR_MemoryBlock, TheHookFiresWhenStorageGoesAlone)
{
    Hooked block;
    block.Append("abc", 3);
    block.Resize(100);
    block.Resize(2);
    block.SetByteAtIndex('x', 0);
    EXPECT_EQ(block.changes, 0);
    block.Resize(0);
    EXPECT_EQ(block.changes, 1);
    static_cast<VLR_MemoryBlock&>(block) = blockOf("abc");
    EXPECT_EQ(block.changes, 2);
    VLR_MemoryBlock& same = block;
    static_cast<VLR_MemoryBlock&>(block) = same; // loses its content
    EXPECT_TRUE(block.IsEmpty());
    EXPECT_EQ(block.changes, 3);
}

} // namespace
