#include "ExtraStringUtilities.h"
#include "NSAutoreleasePool.h"
#include "UtilityStandIns.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

namespace {

constexpr uint32_t kMacRoman = 0;

/// A desktop whose front process is described by one word.
class WorkspaceStandIn final : public NSWorkspace {
public:
    std::optional<ProcessSerialNumber> GetFrontProcess() const override
    {
        return front.empty() ? std::nullopt : std::optional(ProcessSerialNumber { 0, 7 });
    }
    std::string CopyProcessName(const ProcessSerialNumber&) const override { return front; }
    NSPropertyList::Dictionary ProcessInformationCopyDictionary(const ProcessSerialNumber&) const override
    {
        return { { "CFBundleIdentifier", { "org.example." + front } }, { "FileCreator", { front } } };
    }

    std::string front;
};

std::string contentOf(const NSData& data)
{
    return { reinterpret_cast<const char*>(data.bytes()), data.length() };
}

std::string repeated(const std::string& piece, int count)
{
    std::string whole;
    for (int i = 0; i < count; ++i)
        whole += piece;
    return whole;
}

TEST(FrontProcess, TheBundleIDIsReadOnceAndTheRestAnew)
{
    WorkspaceStandIn workspace;
    EXPECT_EQ(ExtraStringUtilities::stringWithFrontProcessName(LinuxWorkspace()), "");
    EXPECT_EQ(ExtraStringUtilities::stringWithFrontProcessCreator(LinuxWorkspace()), "");
    workspace.front = "one";
    EXPECT_EQ(ExtraStringUtilities::stringWithFrontProcessBundleID(workspace), "org.example.one");
    EXPECT_EQ(ExtraStringUtilities::stringWithFrontProcessCreator(workspace), "one");
    workspace.front = "two";
    EXPECT_EQ(ExtraStringUtilities::stringWithFrontProcessBundleID(workspace), "org.example.one");
    EXPECT_EQ(ExtraStringUtilities::stringWithFrontProcessCreator(workspace), "two");
    EXPECT_EQ(ExtraStringUtilities::stringWithFrontProcessName(workspace), "two");
}

TEST(DataFromHexadecimalString, TakesWhateverItIsGiven)
{
    struct {
        const char* digits;
        std::string bytes;
    } const kCases[] = {
        { "", "" }, { "a", "" }, { "0g", std::string(1, '\0') }, { "abc", "\xAB" }, { "AbFf09", "\xAB\xFF\x09" },
        { "a 1", "\xA0" }, // a blank is a digit of value 0
        { "\xC5\xA1"
          "5",
            "\xA5" }, // U+0161 ends in the bits of an a
        { "\xF0\x9F\x98\xB1", "\1" }, // U+1F631: two code units, of which the second ends in the bits of a 1
        { "@`/:GgPp", std::string(4, '\0') }, // beside the digits and letters, and folded onto digits by no means
    };
    for (const auto& c : kCases)
        EXPECT_EQ(contentOf(ExtraStringUtilities::dataFromHexadecimalString(text(c.digits))), c.bytes) << c.digits;
}

struct PascalCase {
    const char* name;
    std::string characters;
    uint32_t encoding;
    std::string bytes; // without the length byte
    bool fails;
};

TEST(PascalString, HoldsAtMostAHundredAndTwentySevenCharacters)
{
    const std::string key = "\xF0\x9F\x94\x91"; // two code units
    const PascalCase kCases[] = {
        { "empty", "", kMacRoman, "", false },
        { "Mac Roman", "caf\xC3\xA9", kMacRoman, "caf\x8E", false },
        { "127", repeated("x", 127), kMacRoman, repeated("x", 127), false },
        { "128", repeated("x", 128), kMacRoman, repeated("x", 127), false },
        { "200", repeated("\xC3\xA9", 200), kMacRoman, repeated("\x8E", 127), false },
        { "not in Mac Roman", "a\xE4\xB8\xAD", kMacRoman, "", true },
        { "not in Mac Roman, but cut off", repeated("x", 127) + "\xE4\xB8\xAD", kMacRoman, repeated("x", 127), false },
        { "a combining accent", "e\xCC\x81", kMacRoman, "", true },
        { "no valid text", "a\xFF", kMacRoman, "", true },
        { "ASCII", "abc", 0x0600, "abc", false },
        { "not in ASCII", "caf\xC3\xA9", 0x0600, "", true },
        { "UTF-8", "caf\xC3\xA9", 0x08000100, "caf\xC3\xA9", false },
        { "a pair at the cut stays whole", repeated("x", 126) + key, 0x08000100, repeated("x", 126), false },
        { "a pair before the cut", repeated("x", 125) + key + "xx", 0x08000100, repeated("x", 125) + key, false },
        { "255 bytes in UTF-8", repeated("\xE4\xB8\xAD", 85), 0x08000100, repeated("\xE4\xB8\xAD", 85), false },
        { "256 bytes in UTF-8", repeated("\xE4\xB8\xAD", 85) + "x", 0x08000100, "", true },
        { "an encoding that can't be had", "abc", 0x0100, "", true },
    };
    for (const PascalCase& c : kCases) {
        SCOPED_TRACE(c.name);
        const NSAutoreleasePool pool;
        const unsigned char* made = nullptr;
        const std::string raised = raisedBy(
            [&] { made = ExtraStringUtilities::pascalStringWithEncoding(text(c.characters.c_str()), c.encoding); });
        EXPECT_EQ(raised,
            c.fails ? inconsistency("Unable to CFStringGetPascalString.", "pascalStringWithEncoding:", 1170) : "");
        if (made != nullptr) {
            EXPECT_EQ(std::string(made, made + 1 + made[0]), static_cast<char>(c.bytes.size()) + c.bytes);
        }
    }
}

TEST(PascalString, BelongsToTheScope)
{
    EXPECT_THROW(ExtraStringUtilities::pascalString(text("a")), std::logic_error);
    const NSAutoreleasePool pool;
    const unsigned char* const first = ExtraStringUtilities::pascalString(text("first"));
    ExtraStringUtilities::pascalString(text("second"));
    EXPECT_EQ(plain(*ExtraStringUtilities::stringWithPascalString(first)), "first");
}

TEST(PascalStringInto, CutsToTheSizeAndWritesNothingBeyondTheBuffer)
{
    struct {
        uint8_t size;
        std::size_t room;
        std::string after;
        bool refused;
    } const kCases[] = {
        { 4, 6, "\3abc..", false },
        { 5, 6, "\3abc..", false },
        { 3, 6, "\2ab...", false },
        { 1, 6, std::string("\0.....", 6), false },
        { 0, 6, "......", true },
        { 255, 4, "\3abc..", false },
        { 255, 3, "......", true },
        { 3, 3, "\2ab...", false },
        { 1, 0, "......", true },
    };
    for (const auto& c : kCases) {
        std::array<unsigned char, 6> buffer;
        buffer.fill('.');
        const std::string raised = raisedBy(
            [&] { ExtraStringUtilities::pascalStringInto(text("abc"), std::span(buffer).first(c.room), c.size); });
        EXPECT_EQ(
            raised, c.refused ? "NSRangeException|pascalStringInto:buffSize: the buffer is too small." : std::string());
        EXPECT_EQ(std::string(buffer.begin(), buffer.end()), c.after) << &c - kCases;
    }
}

TEST(StringWithPascalString, ReadsMacRomanAndNoBufferIsNoText)
{
    const unsigned char bytes[] = { 2, 'a', 0x8E, 'x' };
    EXPECT_EQ(plain(*ExtraStringUtilities::stringWithPascalString(bytes)), "a\xC3\xA9");
    EXPECT_FALSE(ExtraStringUtilities::stringWithPascalString(nullptr).has_value());
}

} // namespace
