#include "CoreFixture.h"
#include "TextModel.h"
#include "VLR_Array.h"
#include "VLR_RawMemory.h"
#include "VLR_System.h"

#include <unicode/utf16.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>

namespace {

using TextModel::composed;
using TextModel::keyOf;

constexpr VLR_StringComparisonType kBothTypes[] = { VLR_StringComparisonExact, VLR_StringComparisonCaseless };

using ::S;

VLR_String S(const std::u16string& units)
{
    return VLR_String(VLR_MemoryBlock(reinterpret_cast<const unsigned char*>(units.data()),
                          static_cast<uint32_t>(units.size() * sizeof(char16_t))),
        VLR_CharacterSetUTF16);
}

class RandomTexts {
public:
    std::u16string Make(std::size_t longest)
    {
        // Few letters at a time, so that texts often nearly match.
        const std::size_t first = random() % std::size(kAlphabet);
        std::u16string text;
        for (std::size_t n = random() % (longest + 1); n > 0; --n)
            text += kAlphabet[(first + random() % 4) % std::size(kAlphabet)];
        return text;
    }

    std::size_t Below(std::size_t bound) { return random() % bound; }

private:
    static constexpr const char16_t* kAlphabet[] = { u"a", u"s", u"S", u"\u00DF", u"\u1E9E", u"s", u"\u0323", u"\u0307",
        u"\u1E69", u"\u017F", u"i", u"\u0130", u"\u0131", u"I", u"\u0307", u"\uFB03", u"f", u"F", u"I", u"k", u"\u212A",
        u"K", u"\u03B1", u"\u0345", u"\u0301", u"\u1FB4", u"\u0399", u"\u03C3", u"\u03C2", u"\u03A3", u"\u1100",
        u"\u1161", u"\uAC00", u"\u11A8", u"\uAC01", u"\u09C7", u"\u09BE", u"\u09CB", u"\u0F71", u"\u0F72", u"\u0F73",
        u"\u0344", u"\u0308", u"\u0301", u"\U0001D15E", u"\U0001D157", u"\U0001D165", u"\U00010400", u"\U00010428",
        u"\uFF21", u"\uFFFD", u"\u037E", u";", u"\u1FEF", u"`" };

    std::mt19937 random { 20010101 };
};

/// An allocation source that looks for a secret in all that comes back.
namespace Watch {

constexpr std::size_t kHeader = 16; // keeps the alignment; the size stands in it
bool found = false;

bool Holds(const unsigned char* bytes, std::size_t size, std::size_t width)
{
    constexpr char kSecret[] = "hunter2";
    for (std::size_t start = 0; start + 7 * width <= size; ++start) {
        std::size_t i = 0;
        while (i < 7 && bytes[start + i * width] == static_cast<unsigned char>(kSecret[i]))
            ++i;
        if (i == 7)
            return true;
    }
    return false;
}

void* Obtain(std::size_t size)
{
    auto* const base = static_cast<unsigned char*>(std::calloc(1, size + kHeader));
    std::memcpy(base, &size, sizeof size);
    return base + kHeader;
}

void GiveBack(void* memory)
{
    const auto* const bytes = static_cast<const unsigned char*>(memory);
    std::size_t size = 0;
    std::memcpy(&size, bytes - kHeader, sizeof size);
    for (const std::size_t width : { 1u, 2u, 4u })
        found = found || Holds(bytes, size, width);
    std::free(static_cast<unsigned char*>(memory) - kHeader);
}

} // namespace Watch

/// In a whole text: with nothing prepared, and with one of the two prepared for several searches.
void ExpectFirstInWhole(
    const std::u16string& text, const std::u16string& search, VLR_StringComparisonType type, const VLR_Range& expected)
{
    const VLR_String in = S(text);
    const VLR_String wanted = S(search);
    EXPECT_EQ(VLR_System::FindRangeOfString(in, wanted, type), expected);
    {
        const StVLR_AutoSystemRepresentation prepared(wanted);
        EXPECT_EQ(VLR_System::FindRangeOfString(in, wanted, type), expected);
    }
    const StVLR_AutoSystemRepresentation prepared(in);
    EXPECT_EQ(VLR_System::FindRangeOfString(in, wanted, type), expected);
}

void ExpectFirstByTrial(const std::u16string& text, const std::u16string& search, VLR_StringComparisonType type)
{
    const VLR_Range whole { 0, static_cast<uint32_t>(text.size()) };
    ExpectFirstInWhole(text, search, type, TextModel::find(text, search, whole, type));
}

TEST(VLR_Unicode, RandomTextsFollowTheDefinition)
{
    RandomTexts texts;
    for (int round = 0; round < 30000 && !::testing::Test::HasFailure(); ++round) {
        const std::u16string a = texts.Make(round % 2 == 0 ? 6 : 12);
        const std::u16string b = round % 3 == 0 ? composed(a)
            : round % 3 == 1                    ? keyOf(a, VLR_StringComparisonCaseless)
                                                : texts.Make(6);
        const std::u16string search = b.substr(texts.Below(b.size() + 1), 1 + texts.Below(3));
        const auto cut = static_cast<uint32_t>(texts.Below(a.size() + 1));
        const VLR_Range within { cut, static_cast<uint32_t>(texts.Below(a.size() - cut + 1)) };
        for (const auto type : kBothTypes) {
            const int32_t order = TextModel::compare(a, b, type);
            EXPECT_EQ(VLR_System::CompareStrings(S(a), S(b), type), order) << round;
            EXPECT_EQ(VLR_System::HashString(S(a), type) == VLR_System::HashString(S(b), type), order == 0) << round;
            if (search.empty() || U16_IS_TRAIL(search.front()) || U16_IS_LEAD(search.back()))
                continue; // half a pair is no text
            ExpectFirstByTrial(a, search, type);
            EXPECT_EQ(
                VLR_System::FindRangeOfString(S(a), S(search), within, type), TextModel::find(a, search, within, type))
                << round;
        }
    }
}

TEST(VLR_Unicode, EveryCharacterIsFoundByTheASCIITextThatItEquals)
{
    int equivalents = 0;
    for (char32_t c = 0x80; c < 0x20000; ++c) {
        const bool isLetterWithoutCase = (c >= 0x3400 && c < 0xA000) || (c >= 0xAC00 && c < 0xE000); // or no letter
        if (isLetterWithoutCase)
            continue;
        std::u16string text;
        if (c > 0xFFFF)
            text += { static_cast<char16_t>(U16_LEAD(c)), static_cast<char16_t>(U16_TRAIL(c)) };
        else
            text += static_cast<char16_t>(c);
        for (const auto type : kBothTypes) {
            const std::u16string key = keyOf(text, type);
            if (!std::all_of(key.begin(), key.end(), [](char16_t unit) { return unit < 0x80; }))
                continue;
            ++equivalents;
            ExpectFirstByTrial(u"x" + text, key, type);
        }
    }
    EXPECT_GE(equivalents, 16); // caseless 13, exact 3
}

TEST(VLR_Unicode, ShortASCIITextsAreFoundAtEachPlace)
{
    for (const std::u16string search : { u"q", u"qr", u"qrst;", u"quartz, quartz: x" }) {
        const auto length = static_cast<uint32_t>(search.size());
        for (std::size_t i = 0; i < 40 * 20; ++i) {
            const std::u16string before = std::u16string(i / 20, u'x') + search.substr(0, length - 1);
            const std::u16string text = before + search + std::u16string(i % 20, u'q');
            const auto at = static_cast<uint32_t>(before.size());
            const bool endsHere = i % 20 == 0;
            const auto behind = static_cast<uint32_t>(text.size() + 1);
            ExpectFirstInWhole(text, search, VLR_StringComparisonExact, { at, length });
            ExpectFirstInWhole(text.substr(0, text.size() - 1), u"Q" + search.substr(1), VLR_StringComparisonCaseless,
                endsHere ? kVLR_RangeNotFound : VLR_Range { at, length });
            // A mark takes the last letter away.
            ExpectFirstInWhole(
                text + u"\u0301" + search, search, VLR_StringComparisonCaseless, { endsHere ? behind : at, length });
            ExpectFirstInWhole(u"\u00E9" + before + search + u"\u0323" + text, search, VLR_StringComparisonCaseless,
                { at + length + 2 + at, length });
            if (HasFailure())
                return;
        }
    }
}

TEST(VLR_Unicode, AnyBytesHaveOneOrder)
{
    const std::string kPieces[] = { "a", "b", "\xC3", "\xA9", "\xC3\xA9", "\xED\xA0\x80", "\xF0\x9F", "\x98", "\x80",
        "\xC0\x80", "\xF4\x90\x80\x80", "\xFF", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", std::string("\0", 1) };
    std::mt19937 random(3);
    std::vector<std::string> texts;
    for (int i = 0; i < 400; ++i) {
        std::string text;
        for (std::size_t n = random() % 4; n > 0; --n)
            text += kPieces[random() % std::size(kPieces)];
        texts.push_back(text);
    }
    for (const auto type : kBothTypes) {
        std::sort(texts.begin(), texts.end(), [&](const std::string& a, const std::string& b) {
            return VLR_System::CompareStrings(S(a), S(b), type) < 0;
        });
        for (std::size_t i = 0; i < texts.size(); ++i) {
            for (std::size_t j = i; j < texts.size(); ++j)
                ASSERT_EQ(VLR_System::CompareStrings(S(texts[i]), S(texts[j]), type), texts[i] == texts[j] ? 0 : -1);
        }
    }
}

TEST(VLR_Unicode, HashOfASCIIIgnoresCaseLikeItsLowerCase)
{
    for (const std::size_t length : { 1u, 8u, 20u }) {
        for (int c = 0; c < 128; ++c) {
            const bool isCapital = c >= 'A' && c <= 'Z';
            const VLR_String text = S(std::string(length, static_cast<char>(c)));
            const VLR_String lower = S(std::string(length, static_cast<char>(isCapital ? c + 32 : c)));
            EXPECT_EQ(VLR_System::HashString(text, VLR_StringComparisonCaseless),
                VLR_System::HashString(lower, VLR_StringComparisonExact));
        }
    }
}

TEST(VLR_Unicode, NoTextStaysBehindInFreedMemory)
{
    const VLR_RawMemory before = VLR_SetRawMemory({ Watch::Obtain, Watch::GiveBack });
    Watch::found = false;
    {
        VLR_String text = S(u"x\u0323\u0307hunter2\u00E9hunter2");
        const VLR_String search = S(u"hunter2\u00E9");
        for (const auto type : kBothTypes) {
            EXPECT_NE(VLR_System::FindRangeOfString(text, search, type), kVLR_RangeNotFound);
            EXPECT_NE(VLR_System::CompareStrings(text, search, type), 0);
            VLR_System::HashString(text, type);
        }
        for (const auto set : { VLR_CharacterSetUTF16, VLR_CharacterSetMacRoman, VLR_CharacterSetUTF16Terminated })
            EXPECT_FALSE(text.EncodedBlock(set).IsEmpty());
        text.ReplaceBetween(S("\u00E9"), S("\u00E9"), S("hunter2"));
        EXPECT_EQ(text.ReplaceAll(S("hunter2"), S("hunter2, hunter2")), 3u);
        VLR_System::LowercaseString(text);
    }
    VLR_SetRawMemory(before);
    EXPECT_FALSE(Watch::found);
}

TEST(VLR_Unicode, HostileTextsTakeLinearTime)
{
    const std::string manyLetters(1 << 20, 'a');
    std::string marks = "e";
    for (int i = 0; i < 250000; ++i)
        marks += i % 2 == 0 ? "\u0301" : "\u0323";
    EXPECT_EQ(VLR_System::CompareStrings(S(marks), S(marks + "\u0301"), VLR_StringComparisonCaseless), -1);
    EXPECT_FALSE(S(marks).Contains(S(marks + "\u0301")));
    EXPECT_FALSE(S(manyLetters).Contains(S(manyLetters.substr(0, 1 << 19) + "b")));
    EXPECT_TRUE(S("x" + marks).Contains(S(marks)));
    EXPECT_FALSE(S(manyLetters + "\u00E9").Contains(S(manyLetters.substr(0, 1 << 19) + "b")));

    // One long text against many short ones: each comparison ends at the first difference.
    const VLR_String longText = S(manyLetters + "\u00E9"), longMarks = S("\u00E9" + marks);
    const StVLR_AutoSystemRepresentation whileComparing(longMarks);
    for (const VLR_String* const text : { &longText, &longMarks }) {
        for (int i = 0; i < 30000; ++i)
            ASSERT_NE(VLR_System::CompareStrings(*text, S("\u00E9\u0301"), VLR_StringComparisonCaseless), 0);
    }

    VLR_String text = S(manyLetters + "\u00E9");
    const StVLR_AutoSystemRepresentation whileSearching(text);
    for (uint32_t i = 0; i < 100000; ++i) // each looks at its own two units, not at the rest
        ASSERT_EQ(VLR_System::FindRangeOfString(text, S("b"), { i, 2 }, VLR_StringComparisonExact), kVLR_RangeNotFound);
    ASSERT_EQ(text.ReplaceAll(S("A"), S("b")), 1u << 20);
    ASSERT_EQ(text.ReplaceAll(S("b"), VLR_String()), 1u << 20); // a match in first place, nothing put in
    const VLR_String commas = S(std::string(300000, ','));
    EXPECT_EQ(commas.ArrayOfComponentsSeparatedByString(S(",")).Count(), 300001u);
}

} // namespace
