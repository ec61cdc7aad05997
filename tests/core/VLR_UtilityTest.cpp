#include "VLR_Utility.h"
#include "CoreFixture.h"

namespace {

TEST(VLR_Utility, NumbersAsText)
{
    const struct {
        int32_t number;
        const char* text;
    } kCases[] = { { 0, "0" }, { -7, "-7" }, { 1000, "1000" }, { 2147483647, "2147483647" },
        { -2147483647 - 1, "-2147483648" } };
    for (const auto& c : kCases) {
        EXPECT_EQ(str(VLR_Utility::SInt32ToString(c.number)), c.text);
        EXPECT_EQ(VLR_Utility::StringToSInt32(S(c.text)), c.number);
    }
    EXPECT_EQ(str(VLR_Utility::UInt32AsHex(0xAB)), "000000ab");
    EXPECT_EQ(str(VLR_Utility::UInt32AsHex(0xFEDCBA98)), "fedcba98");
    EXPECT_EQ(str(VLR_Utility::ByteAsHex(10)), "0a");
}

TEST(VLR_Utility, TextAsNumberSkipsWhatIsNoDigit)
{
    const struct {
        const char* text;
        int32_t number;
    } kCases[] = { { "", 0 }, { "-12x3", -123 }, { "+", 0 }, { "x", 0 }, { "1a2", 12 }, { "+5", 5 }, { "1-2", 12 },
        { "4294967297", 1 }, { "-", 0 } };
    for (const auto& c : kCases)
        EXPECT_EQ(VLR_Utility::StringToSInt32(S(c.text)), c.number) << c.text;
}

TEST(VLR_Utility, PathsAreBytes)
{
    EXPECT_EQ(str(VLR_Utility::LastPathComponent(S("a/b/"))), "");
    EXPECT_EQ(str(VLR_Utility::LastPathComponent(S("a/b"))), "b");
    EXPECT_EQ(str(VLR_Utility::LastPathComponent(S("b"))), "b");
    EXPECT_EQ(str(VLR_Utility::StringByRemovingExtension(S("a.b.c"))), "a.b");
    EXPECT_EQ(str(VLR_Utility::StringByRemovingExtension(S(".x"))), "");
    EXPECT_EQ(str(VLR_Utility::StringByRemovingExtension(S("x"))), "x");
    EXPECT_EQ(str(VLR_Utility::StringByRemovingExtension(S("a.b/c"))), "a");
    EXPECT_EQ(VLR_Utility::FindLastAsciiChar(S("a.b.c"), '.'), 3u);
    EXPECT_EQ(VLR_Utility::FindLastAsciiChar(S(""), '.'), 0xFFFFFFFFu);
}

TEST(VLR_Utility, PrefixesAreCodeUnits)
{
    EXPECT_EQ(str(VLR_Utility::PrefixOfMaxLength(S("abc"), 0)), "");
    EXPECT_EQ(str(VLR_Utility::PrefixOfMaxLength(S("abc"), 9)), "abc");
    EXPECT_EQ(str(VLR_Utility::PrefixOfMaxLength(S("\u00E9bc"), 2)), "\u00E9b");
    EXPECT_EQ(str(VLR_Utility::PrefixOfMaxLength(S("a\U0001F511"), 2)), "a\uFFFD"); // half of a pair
    EXPECT_EQ(str(VLR_Utility::PrefixOfMaxLength(S("a\xFF"), 1)), ""); // no text, no length
    EXPECT_EQ(str(VLR_Utility::CharacterAsString(0x20AC)), "\u20AC");
}

} // namespace
