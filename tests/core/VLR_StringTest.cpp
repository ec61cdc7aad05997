#include "VLR_String.h"
#include "CoreFixture.h"
#include "VLR_Array.h"
#include "VLR_System.h"

#include <stdexcept>

namespace {

constexpr VLR_StringComparisonType kExact = VLR_StringComparisonExact;
constexpr VLR_StringComparisonType kCaseless = VLR_StringComparisonCaseless;

TEST(VLR_String, ComparesByCodePointsAndCanonicalEquivalence)
{
    const struct {
        std::string a, b;
        int32_t exact, caseless;
    } kCases[] = {
        { "", "", 0, 0 },
        { "a", "b", -1, -1 },
        { "a", "ab", -1, -1 },
        { "B", "a", -1, 1 },
        { "abc", "ABC", 1, 0 },
        { "[", "a", -1, -1 },
        { "[", "A", 1, -1 }, // caseless, letters stand behind "["
        { std::string("a\0b", 3), std::string("a\0c", 3), -1, -1 },
        { "\u00E9", "e\u0301", 0, 0 }, // composed and decomposed
        { "\u00C9", "e\u0301", -1, 0 },
        { "q\u0307\u0323", "q\u0323\u0307", 0, 0 }, // marks in another order
        { "a\u0308\u0301", "a\u0301\u0308", 1, 1 }, // of one class, where the order counts
        { "\uAC01", "\u1100\u1161\u11A8", 0, 0 }, // Hangul
        { "stra\u00DFe", "STRASSE", 1, 0 },
        { "\uFB01", "fi", 1, 0 },
        { "\u03C3", "\u03C2", 1, 0 }, // final sigma
        { "\u0130", "i\u0307", -1, 0 },
        { "\u0131", "i", 1, 1 }, // dotless i is its own letter
        { "\u212A", "K", 0, 0 }, // Kelvin sign
        { "\u212A", "k", -1, 0 },
        { "\u037E", ";", 0, 0 },
        { "\u1FEF", "`", 0, 0 },
        { "\U00010000", "\uFFFD", 1, 1 }, // code points, not code units
        { "\U00010400", "\U00010428", -1, 0 },
        { "\xFF", "\xFE", 1, 1 }, // no UTF-8: the bytes themselves
        { "\xFF", "\xFF", 0, 0 },
        { "a\xC3", "a\xC3\xA9", 1, 1 },
        { "\xED\xA0\x80", "\xED\xA0\x81", -1, -1 },
        { "\xC0\x80", std::string("\0", 1), 1, 1 },
        { "\xF0\x9F\x98", "\uD7A3", 1, 1 }, // an invalid byte stands behind all of Hangul,
        { "\xF0\x9F\x98", "\uE000", -1, -1 }, // before the private area,
        { "\xF0\x9F\x98", "\xF0", 1, 1 }, // and for itself
        { "\xF0\x9F\x98", "\xF0\xA0", -1, -1 },
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(VLR_System::CompareStrings(S(c.a), S(c.b), kExact), c.exact) << c.a << " " << c.b;
        EXPECT_EQ(VLR_System::CompareStrings(S(c.b), S(c.a), kExact), -c.exact) << c.a << " " << c.b;
        EXPECT_EQ(VLR_System::CompareStrings(S(c.a), S(c.b), kCaseless), c.caseless) << c.a << " " << c.b;
        EXPECT_EQ(VLR_System::CompareStrings(S(c.b), S(c.a), kCaseless), -c.caseless) << c.a << " " << c.b;
        for (const auto type : { kExact, kCaseless }) {
            const bool equal = VLR_System::CompareStrings(S(c.a), S(c.b), type) == 0;
            const bool sameHash = VLR_System::HashString(S(c.a), type) == VLR_System::HashString(S(c.b), type);
            EXPECT_EQ(sameHash, equal) << c.a << " " << c.b;
        }
    }
}

TEST(VLR_String, FindsWholeCharactersInUnitsOfTheTextAsStored)
{
    constexpr VLR_Range kNone = kVLR_RangeNotFound;
    const struct {
        std::string text, search;
        VLR_Range exact, caseless;
    } kCases[] = {
        { "xabcx", "ABC", kNone, { 1, 3 } },
        { "abc", "", kNone, kNone },
        { "", "a", kNone, kNone },
        { "aab", "ab", { 1, 2 }, { 1, 2 } },
        { "Ma\u00DFe", "ss", kNone, { 2, 1 } }, // one stored letter stands for both
        { "Ma\u00DFe", "s", kNone, kNone }, // half a letter is none
        { "Masse", "\u00DF", kNone, { 2, 2 } },
        { "caf\u00E9!", "e", kNone, kNone }, // a base letter is not its accented form
        { "cafe\u0301!", "e", kNone, kNone },
        { "cafe\u0301!", "caf\u00E9", { 0, 5 }, { 0, 5 } },
        { "caf\u00E9!", "E\u0301!", kNone, { 3, 2 } },
        { "\u0301e", "e", { 1, 1 }, { 1, 1 } },
        { "\U0001F511 key", "key", { 3, 3 }, { 3, 3 } },
        { "x\u212A", "k", kNone, { 1, 1 } },
        { "x\u212A", "K", { 1, 1 }, { 1, 1 } },
        { "ok \xFF", "ok", kNone, kNone }, // no text, nothing to find
        { "ok", "\xFF", kNone, kNone },
        { "\x80ok", "ok", kNone, kNone },
        { "ok\u00E9\xED\xA0\x80", "ok", kNone, kNone },
        { std::string("a\0b", 3), "b", { 2, 1 }, { 2, 1 } },
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(VLR_System::FindRangeOfString(S(c.text), S(c.search), kExact), c.exact) << c.text << " " << c.search;
        EXPECT_EQ(VLR_System::FindRangeOfString(S(c.text), S(c.search), kCaseless), c.caseless)
            << c.text << " " << c.search;
        const VLR_String search = S(c.search);
        const StVLR_AutoSystemRepresentation forSeveralTexts(search);
        EXPECT_EQ(S(c.text).Contains(search), c.caseless != kNone) << c.text << " " << c.search;
    }
}

TEST(VLR_String, ASearchStaysInItsRange)
{
    for (const std::string accent : { "", "\u00E9" }) { // by bytes and by keys
        const VLR_String text = S("abab" + accent);
        const uint32_t length = VLR_System::LengthOfString(text);
        EXPECT_EQ(VLR_System::FindRangeOfString(text, S("ab"), { 1, 3 }, kExact), (VLR_Range { 2, 2 }));
        EXPECT_EQ(VLR_System::FindRangeOfString(text, S("ab"), { 1, 2 }, kExact), kVLR_RangeNotFound);
        EXPECT_EQ(VLR_System::FindRangeOfString(text, S("ab"), { length, 0 }, kExact), kVLR_RangeNotFound);
        EXPECT_THROW(VLR_System::FindRangeOfString(text, S("ab"), { 1, length }, kExact), std::out_of_range);
        EXPECT_THROW(VLR_System::FindRangeOfString(text, S("ab"), { 5, 0xFFFFFFFF }, kExact), std::out_of_range);
    }
}

TEST(VLR_String, LengthsAreCodeUnits)
{
    EXPECT_EQ(VLR_System::LengthOfString(S("\u00E9")), 1u);
    EXPECT_EQ(VLR_System::LengthOfString(S("\U0001F511")), 2u);
    EXPECT_EQ(VLR_System::LengthOfString(S("a\xFF")), 0u);
}

TEST(VLR_String, AffixesAreExactAndByBytesUsedAsUnits)
{
    EXPECT_TRUE(S("abc").HasPrefix(S("ab")));
    EXPECT_FALSE(S("abc").HasPrefix(S("AB")));
    EXPECT_TRUE(S("abc").HasSuffix(S("bc")));
    EXPECT_TRUE(S("abc").HasSuffix(S("abc")));
    for (const char* affix : { "", "abcd", "x" }) {
        EXPECT_FALSE(S("abc").HasPrefix(S(affix))) << affix;
        EXPECT_FALSE(S("abc").HasSuffix(S(affix))) << affix;
    }
    EXPECT_FALSE(S("\u00E9a").HasPrefix(S("\u00E9"))); // two bytes are two units, and "\u00E9a" is not "\u00E9"
    EXPECT_FALSE(S("\u00E9a").HasSuffix(S("a"))); // looked for past the end
}

TEST(VLR_String, StripsBlanksAndTabsAlone)
{
    const struct {
        const char *text, *stripped;
    } kCases[] = { { " \ta b\t ", "a b" }, { "   ", "" }, { "", "" }, { "\na\n", "\na\n" }, { "a", "a" },
        { " \u00E9 ", "\u00E9 " } }; // a byte more than units: a blank stays
    for (const auto& c : kCases) {
        VLR_String text = S(c.text);
        text.StripLeadingAndTrailingSpaces();
        EXPECT_EQ(str(text), c.stripped);
    }
    VLR_String pastTheEnd = S(" \u00E9");
    EXPECT_THROW(pastTheEnd.StripLeadingAndTrailingSpaces(), VLR_Exception);
    EXPECT_EQ(str(pastTheEnd), " \u00E9");
}

TEST(VLR_String, ReplacesAllMatchesWithoutRegardToCase)
{
    const struct {
        std::string text, search, replacement, result;
        uint32_t count;
    } kCases[] = {
        { "aAa", "a", "bb", "bbbbbb", 3 },
        { "xabx", "AB", "", "xx", 1 },
        { "abc", "d", "e", "abc", 0 },
        { "abc", "", "e", "abc", 0 },
        { "aaa", "aa", "b", "ba", 1 },
        { "Gro\u00DFe Masse", "ss", "-", "Gro-e Ma-e", 2 },
        { "\u00DF\u00DF\u00DF", "ss", "-", "-\u00DF-", 2 }, // goes on two units further, as the search text is long
        { "sss", "\u00DF", "-", "-s", 1 },
        { "ssss", "\u00DF", "-", "--", 2 },
        { "e\u0301\u00E9e", "\u00E9", "\U0001F511", "\U0001F511\U0001F511e", 2 },
        { "\xFF"
          "a",
            "a", "b",
            "\xFF"
            "a",
            0 },
    };
    for (const auto& c : kCases) {
        VLR_String text = S(c.text);
        EXPECT_EQ(text.ReplaceAll(S(c.search), S(c.replacement)), c.count) << c.text;
        EXPECT_EQ(str(text), c.result);
        EXPECT_EQ(text.systemRepresentation, nullptr);
    }
    VLR_String large = S(std::string(70000, 'a'));
    EXPECT_THROW(large.ReplaceAll(S("a"), large), VLR_Exception); // more than a block can hold
    EXPECT_EQ(large.Length(), 70000u);
    VLR_String untouched = S("abc");
    const unsigned char* const storage = untouched.Bytes();
    untouched.ReplaceAll(S("x"), S("y"));
    EXPECT_EQ(untouched.Bytes(), storage);
    EXPECT_EQ(gSystemRepresentationLeakDetector, 0u);
}

TEST(VLR_String, TagsBoundAStretch)
{
    EXPECT_EQ(str(S("a[b]c").ExtractBetween(S("["), S("]"))), "b");
    EXPECT_EQ(str(S("\u00E9[\u00DF]").ExtractBetween(S("["), S("]"))), "\u00DF");
    EXPECT_EQ(str(S("a<B>c</b>").ExtractBetween(S("<b>"), S("</B>"))), "c");
    EXPECT_EQ(str(S("abc").ExtractBetween(S("["), S("]"))), "");
    EXPECT_THROW(S("a]b[c").ExtractBetween(S("["), S("]")), VLR_Exception);
    EXPECT_EQ(failure([] { S("a|b|c").ExtractBetween(S("|"), S("|")); }), "code 7");
    VLR_String text = S("a[b]c");
    text.ReplaceBetween(S("["), S("]"), S("x")); // with its tags
    EXPECT_EQ(str(text), "axc");
    text.ReplaceBetween(S("["), S("]"), S("y"));
    EXPECT_EQ(str(text), "axc");
    text = S("]\u00E9[");
    EXPECT_THROW(text.ReplaceBetween(S("["), S("]"), S("x")), VLR_Exception);
}

TEST(VLR_String, AutotypingCharactersGo)
{
    VLR_String text = S("a\u2022b\u00B6c\u00A7d\u221Ee\u00ABf\u00BB");
    text.RemoveAutotypingCharacters();
    EXPECT_EQ(str(text), "abcdef\u00BB");
}

TEST(VLR_String, SplitsIntoComponents)
{
    const struct {
        const char *text, *separator;
        std::vector<std::string> components;
    } kCases[] = {
        { "a,,b", ",", { "a", "", "b" } }, { "", ",", { "" } }, { "abc", "", { "abc" } },
        { "aXbxc", "x", { "a", "b", "c" } }, { ",", ",", { "", "" } },
        { "assb", "\u00DF", { "a", "b" } }, // two letters are the separator's one
    };
    for (const auto& c : kCases) {
        const VLR_Array<VLR_String> components = S(c.text).ArrayOfComponentsSeparatedByString(S(c.separator));
        ASSERT_EQ(components.Count(), c.components.size()) << c.text;
        for (uint32_t i = 0; i < components.Count(); ++i)
            EXPECT_EQ(str(*components.ObjectAtIndex(i)), c.components[i]);
    }
    EXPECT_THROW(S("\u00E9,a").ArrayOfComponentsSeparatedByString(S(",")), std::out_of_range);
}

TEST(VLR_String, SubstringsAreBoundedByBytesAndByUnits)
{
    const auto raised = [](const VLR_String& text, VLR_Range range) {
        return failure([&] { VLR_System::SubstringOfRange(text, range); });
    };
    EXPECT_EQ(str(VLR_System::SubstringOfRange(S("a\u00E9\U0001F511"), { 1, 3 })), "\u00E9\U0001F511");
    EXPECT_EQ(str(VLR_System::SubstringOfRange(S(std::string("ab\0c", 4)), { 1, 3 })), "b"); // zero ends it
    EXPECT_EQ(raised(S("abc"), { 1, 3 }), "code 7");
    EXPECT_EQ(raised(S("\u00E9\u00E9"), { 1, 3 }), "code 7"); // in bytes yes, in units no
    EXPECT_EQ(raised(S("abc"), { 2, 0xFFFFFFFF }), "code 7");
    EXPECT_EQ(raised(S("abc"), { 3, 0 }), "");
}

TEST(VLR_String, RepresentationIsMadeOnceByNestedGuards)
{
    VLR_String text = S("abc");
    {
        const StVLR_AutoSystemRepresentation outer(text);
        void* const made = text.systemRepresentation;
        {
            const StVLR_AutoSystemRepresentation inner(text);
            EXPECT_EQ(text.systemRepresentation, made);
            EXPECT_EQ(gSystemRepresentationLeakDetector, 1u);
        }
        EXPECT_EQ(text.systemRepresentation, made);
        VLR_String copy(text); // has none, and may go its own way
        copy = S("other");
        text.Append("d", 1); // survives, and the next search does not see it
        EXPECT_EQ(text.systemRepresentation, made);
        EXPECT_FALSE(text.Contains(S("d")));
        text.Append("\u00E9", 2); // nor does a comparison
        const VLR_String before = S("abc");
        const VLR_String smaller = S("abb\u00E9");
        EXPECT_EQ(text.Compare(&before), 0);
        EXPECT_LT(smaller.Compare(&text), 0);
        text = S("new"); // goes with an assignment
        EXPECT_EQ(text.systemRepresentation, nullptr);
    }
    EXPECT_EQ(gSystemRepresentationLeakDetector, 0u);
}

TEST(VLR_String, ConstructorsCountAsTheirSetsDo)
{
    EXPECT_TRUE(VLR_String(nullptr, VLR_CharacterSetUTF8).IsEmpty());
    EXPECT_TRUE(VLR_String("", VLR_CharacterSetUTF16Terminated).IsEmpty());
    const char16_t terminated[] = u"ab\u0100c"; // U+0100 begins with a zero byte in memory, which ends the text
    EXPECT_EQ(str(VLR_String(reinterpret_cast<const char*>(terminated), VLR_CharacterSetUTF16Terminated)), "ab");
    EXPECT_EQ(S("ab").EncodedBlock(VLR_CharacterSetUTF16Terminated).Length(), 6u);
    EXPECT_EQ(VLR_PodBlock<unsigned short>(S("a\U0001F511")).Count(), 3u);
}

} // namespace
