#include "ExtraDataUtilities.h"
#include "ExtraStringUtilities.h"
#include "UtilityStandIns.h"

#include <gtest/gtest.h>

namespace {

constexpr char kTooSmall[] = "NSRangeException|hexadecimalStringC: the buffer is too small.";

NSData dataOf(const std::string& bytes)
{
    return NSData::dataWithBytes(bytes.data(), bytes.size());
}

TEST(ExtraDataUtilities, DigitsAreAppendedWhereTheyFit)
{
    struct {
        std::string buffer;
        std::ptrdiff_t count;
        std::string after;
        const char* raised;
    } const kCases[] = {
        { std::string("\0......", 7), 3, std::string("0a9fff\0", 7), "" },
        { std::string("ab\0......", 9), 2, std::string("ab0a9f\0..", 9), "" },
        { std::string("ab\0...", 6), 2, std::string("ab\0...", 6), kTooSmall },
        { std::string("\0.....", 6), 3, std::string("\0.....", 6), kTooSmall },
        { "abc", 1, "abc", kTooSmall }, // no terminator
        { "", 1, "", kTooSmall },
        { std::string("a\0.", 3), 0, std::string("a\0.", 3), "" },
        { "abc", -1, "abc", "" },
    };
    for (const auto& c : kCases) {
        std::string buffer = c.buffer;
        EXPECT_EQ(raisedBy([&] { ExtraDataUtilities::hexadecimalStringC("\x0A\x9F\xFF", c.count, buffer); }), c.raised);
        EXPECT_EQ(buffer, c.after) << &c - kCases;
    }
}

TEST(ExtraDataUtilities, AllBytesGoToDigitsAndBack)
{
    std::string all;
    for (int i = 0; i < 256; ++i)
        all += static_cast<char>(i);
    const VLR_String digits = ExtraDataUtilities::hexadecimalString(dataOf(all));
    EXPECT_EQ(plain(digits).substr(0, 8), "00010203");
    EXPECT_EQ(plain(digits).substr(504), "fcfdfeff");
    EXPECT_EQ(ExtraStringUtilities::dataFromHexadecimalString(digits), dataOf(all));
    EXPECT_EQ(plain(ExtraDataUtilities::hexadecimalString(NSData())), "");
}

TEST(ExtraDataUtilities, AByteOutOfRangeRaises)
{
    const NSData two = dataOf("ab");
    EXPECT_EQ(ExtraDataUtilities::byteAtIndex(two, 1), 'b');
    EXPECT_EQ(raisedBy([&] { ExtraDataUtilities::byteAtIndex(two, 2); }),
        inconsistency("NSData byteAtIndex index out of range.", "byteAtIndex:", 1739));
}

TEST(ExtraDataUtilities, ChecksumsFoldTheirCarriesAndAgreeWithTheCore)
{
    struct {
        std::string bytes;
        uint16_t checksum;
    } const kCases[] = {
        { "\1\2\3\4", 0x0406 }, { "\1\2\3", 0x0102 }, { std::string("\xFF\xFF\0\1", 4), 0x0001 },
        { std::string("\xFF\xFF\xFF\xFF", 4), 0xFFFF }, { "\1", 0 }, { "", 0 },
        { std::string(131072, '\1') + "\1\1", 0x0202 }, // 65,537 words: none is left out
        { std::string(1 << 20, '\xFF'), 0xFFFF }, // the sum passes 32 bits
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(ExtraDataUtilities::computeChecksum(dataOf(c.bytes)), c.checksum) << &c - kCases;
        const VLR_MemoryBlock block(
            reinterpret_cast<const unsigned char*>(c.bytes.data()), static_cast<uint32_t>(c.bytes.size()));
        EXPECT_EQ(block.ComputeChecksum(), c.checksum) << &c - kCases;
    }
}

} // namespace
