#include "CoreFixture.h"
#include "VLR_SipHash.h"
#include "VLR_System.h"

#include <unicode/ucnv.h>

namespace {

std::string converted(const std::string& bytes, VLR_CharacterSetType from, VLR_CharacterSetType to)
{
    VLR_MemoryBlock result = S("what was there");
    VLR_System::ConvertString(S(bytes), from, result, to);
    return str(result);
}

std::string units(const std::u16string& text)
{
    return std::string(reinterpret_cast<const char*>(text.data()), 2 * text.size());
}

constexpr auto kUTF8 = VLR_CharacterSetUTF8;
constexpr auto kUTF16 = VLR_CharacterSetUTF16;
constexpr auto kASCII = VLR_CharacterSetASCII;
constexpr auto kMacRoman = VLR_CharacterSetMacRoman;
constexpr auto kTerminated = VLR_CharacterSetUTF16Terminated;

TEST(VLR_System_Strings, Converts)
{
    const struct {
        std::string from;
        VLR_CharacterSetType fromSet;
        std::string to;
        VLR_CharacterSetType toSet;
    } kCases[] = {
        { "", kUTF8, "", kUTF16 },
        { "a\u00E9\U0001F511", kUTF8, units(u"a\u00E9\U0001F511"), kUTF16 },
        { "a", kUTF8, units(std::u16string(u"a\0", 2)), kTerminated },
        { units(u"\u20ACx"), kTerminated, "\u20ACx", kUTF8 },
        { units(u"\xD800x"), kUTF16, "\uFFFDx", kUTF8 }, // half a pair
        { units(u"ab") + "c", kUTF16, "ab", kUTF8 }, // half a unit
        { "\x8E\xDB", kMacRoman, "\u00E9\u20AC", kUTF8 },
        { "ab\u00E9\u4E00yz", kUTF8, "ab\x8E", kMacRoman }, // ends at what the set can't express
        { "ab\u00E9z", kUTF8, "ab", kASCII },
        { "a\x80z", kASCII, "a\uFFFDz", kUTF8 }, // an old file's byte must not cost the rest
        { "a\xFFz", kUTF8, units(u"a"), kUTF16 },
        { "a\xFFz", kUTF8, "a\xFFz", kUTF8 },
    };
    for (const auto& c : kCases)
        EXPECT_EQ(converted(c.from, c.fromSet, c.toSet), c.to) << c.from;
    for (const int set : { 0, 6, -1 }) {
        EXPECT_THROW(converted("a", static_cast<VLR_CharacterSetType>(set), kUTF8), VLR_Exception);
        EXPECT_THROW(converted("a", kUTF8, static_cast<VLR_CharacterSetType>(set)), VLR_Exception);
    }
}

TEST(VLR_System_Strings, MacRomanIsTheConvertersTable)
{
    UErrorCode error = U_ZERO_ERROR;
    UConverter* const converter = ucnv_open("macos-0_2-10.2", &error);
    ASSERT_TRUE(U_SUCCESS(error));
    for (int byte = 0; byte < 256; ++byte) {
        const char source = static_cast<char>(byte);
        UChar expected[4] = {};
        error = U_ZERO_ERROR;
        const int32_t length = ucnv_toUChars(converter, expected, 4, &source, 1, &error);
        const std::string text = units(std::u16string(expected, static_cast<std::size_t>(length)));
        EXPECT_EQ(converted(std::string(1, source), kMacRoman, kUTF16), text) << byte;
        EXPECT_EQ(converted(text, kUTF16, kMacRoman), std::string(1, source)) << byte;
    }
    ucnv_close(converter);
}

TEST(VLR_System_Strings, HashIsTheOnePublished)
{
    // Key 00 to 0F; input of n bytes 00, 01, ...: the published vectors of SipHash-1-3.
    const std::pair<unsigned char, uint64_t> kVectors[] = { { 0, 0xABAC0158050FC4DC }, { 1, 0xC9F49BF37D57CA93 },
        { 7, 0xD3927D989BB11140 }, { 8, 0x369095118D299A8E }, { 9, 0x25A48EB36C063DE4 }, { 63, 0x9D199062B7BBB3A8 } };
    for (const auto& [n, expected] : kVectors) {
        VLR_SipHash byteByByte(0x0706050403020100, 0x0F0E0D0C0B0A0908);
        std::string bytes;
        for (unsigned char byte = 0; byte < n; ++byte) {
            byteByByte.Add(byte);
            bytes += static_cast<char>(byte);
        }
        EXPECT_EQ(byteByByte.Finish(), expected) << int { n };
        for (std::size_t step = 1; step <= n; ++step) {
            VLR_SipHash inPieces(0x0706050403020100, 0x0F0E0D0C0B0A0908);
            for (std::size_t i = 0; i < n; i += step) {
                const std::string piece = bytes.substr(i, step);
                inPieces.Add(reinterpret_cast<const unsigned char*>(piece.data()), static_cast<uint32_t>(piece.size()));
            }
            EXPECT_EQ(inPieces.Finish(), expected) << int { n } << " " << step;
        }
    }
}

TEST(VLR_System_Strings, CStrings)
{
    EXPECT_EQ(VLR_System::CStringLength("abc"), 3u);
    EXPECT_LT(VLR_System::CStringCompare("abc", "abd"), 0);
    EXPECT_EQ(VLR_System::CStringCompare("abc", "abd", 2), 0);
    char copy[] = "xxxxxxxx";
    EXPECT_EQ(VLR_System::CStringCopy(copy, "ab", 4), copy);
    EXPECT_EQ(std::string(copy, 8), std::string("ab\0\0\0xxx", 8));
    VLR_System::CStringCopy(copy, "abcdef", 4);
    EXPECT_STREQ(copy, "abcd");
}

TEST(VLR_System_Strings, ReplacesRangesAndLowersText)
{
    VLR_String text("a\u00E9c\xCC\x81", kUTF8);
    VLR_System::ReplaceRangeOfString(text, VLR_String("\U0001F511", kUTF8), { 1, 1 });
    EXPECT_EQ(text.Compare(std::addressof(static_cast<const VLR_Object&>(VLR_String("a\U0001F511c\u0301", kUTF8)))), 0);
    EXPECT_THROW(VLR_System::ReplaceRangeOfString(text, VLR_String(), { 5, 1 }), std::out_of_range);
    VLR_String lower("\u0130\u00C9ABC\u03A3", kUTF8);
    VLR_System::LowercaseString(lower);
    EXPECT_EQ(str(lower), "i\u0307\u00E9abc\u03C2");
    VLR_String empty;
    VLR_System::LowercaseString(empty);
    EXPECT_TRUE(empty.IsEmpty());
}

} // namespace
