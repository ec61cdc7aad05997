#include "VLR_System.h"
#include "CoreFixture.h"
#include "NSException.h"
#include "ScratchFolder.h"
#include "VLR_SystemConversions.h"

#include <cmath>
#include <ctime>
#include <limits>

namespace {

class System : public CoreTest { };

TEST_F(System, MakesIdentities)
{
    const std::string a = str(VLR_System::NewUUID());
    const std::string b = str(VLR_System::NewUUID());
    EXPECT_NE(a, b);
    for (const std::string& uuid : { a, b }) {
        ASSERT_EQ(uuid.size(), 36u);
        for (std::size_t i = 0; i < uuid.size(); ++i) {
            const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
            EXPECT_TRUE(hyphen ? uuid[i] == '-' : std::string("0123456789ABCDEF").find(uuid[i]) != std::string::npos);
        }
    }
    EXPECT_EQ(str(VLR_System::NewUUID(0x12345678, 0xAB, 0xCDEF)), "00000000-0000-0000-CDEF-1234567800AB");
    EXPECT_EQ(str(VLR_System::NewUUID(1, 2, 3)), "00000000-0000-0000-0003-000000010002");
}

TEST_F(System, CountsFrom2001)
{
    EXPECT_NEAR(
        static_cast<double>(VLR_System::SecondsSince2001()), static_cast<double>(std::time(nullptr) - 978307200), 2.0);
}

TEST_F(System, HoldsOneExpressPassword)
{
    VLR_System::SetExpressOpenPassword(nullptr);
    VLR_System::SetExpressOpenPassword(S("one"));
    VLR_System::SetExpressOpenPassword(S("two"));
    VLR_System::SetExpressOpenPassword(VLR_System::ExpressOpenPassword()); // by itself
    EXPECT_EQ(str(*VLR_System::ExpressOpenPassword()), "two");
    VLR_System::SetExpressOpenPassword(nullptr);
    EXPECT_EQ(VLR_System::ExpressOpenPassword(), nullptr);
}

TEST_F(System, NamesTheResources)
{
    for (const int type : { -1, 3 })
        EXPECT_EQ(failure([&] { VLR_System::StdioPathToFile(static_cast<VLR_FilePathType>(type)); }), "code 5");
    const std::string path = str(VLR_System::StdioPathToFile(VLR_FilePathPhonemes));
    EXPECT_EQ(path.front(), '/');
    EXPECT_EQ(path.substr(path.rfind('/')), "/Phonemes.txt");
}

TEST_F(System, LogsFourPieces)
{
    VLR_System::Log("a", nullptr, "c", -5);
    VLR_System::Log("x", nullptr, nullptr, nullptr);
    VLR_System::Log("text", S("value"));
    VLR_System::Log("", S("value"));
    EXPECT_EQ(log, (std::vector<std::string> { "a  c -5 ", "x    ", "text value", "value" }));
    log.clear();
    VLR_Exception("m", "f.cpp", "fn", 7);
    VLR_Exception(VLR_ExceptionFile, "f.cpp", "fn", 7);
    VLR_Exception(VLR_ExceptionFile, S("m"));
    EXPECT_EQ(log, std::vector<std::string> { "m f.cpp fn 7 " });
}

TEST_F(System, ConvertsAtThePlatformsBoundary)
{
    EXPECT_EQ(VLRToSys(S("\xC3\xA9")), "\xC3\xA9");
    EXPECT_EQ(VLRToSys(static_cast<const VLR_String*>(nullptr)), "");
    EXPECT_EQ(str(SysToVLR(std::optional<std::string>(std::string("a\0b", 3)))), "a");
    EXPECT_EQ(str(SysToVLR(std::optional(NSData::dataWithBytes("a\0b", 3)))), std::string("a\0b", 3));
    for (const char* expected : { "NSString", "NSData", "NSColor" }) {
        try {
            if (expected == std::string("NSString"))
                SysToVLR(std::optional<std::string>());
            else if (expected == std::string("NSData"))
                SysToVLR(std::optional<NSData>());
            else
                SysToVLR(std::optional<NSColor>());
            FAIL();
        } catch (const NSException& exception) {
            EXPECT_EQ(exception.name(), "Bad Class");
            EXPECT_EQ(exception.reason(), std::string("(null) is not kind of ") + expected + " (SysToVLR)");
        }
    }
    EXPECT_EQ(VLRToSys(VLR_Rect { 1, 2, 30, 40 }), (CGRect { 2, 1, 38, 29 }));
    EXPECT_EQ(SysToVLR(CGRect { 2.9, 1, 38, 29 }), (VLR_Rect { 1, 2, 30, 40 }));
    EXPECT_EQ(SysToVLR(CGRect { 1e9, -1e9, std::nan(""), 0 }), (VLR_Rect { -32768, 32767, -32768, 0 }));
    EXPECT_EQ(SysToVLR(std::optional(VLRToSys(VLR_Color { 1, 0x8000, 65535 }))), (VLR_Color { 1, 0x8000, 65535 }));
    EXPECT_EQ(SysToVLR(std::optional(NSColor::colorWithWhite(0, 1))), (VLR_Color { 0, 0, 0 }));
    EXPECT_EQ(SysToVLR(std::optional(NSColor::namedColor())), (VLR_Color { 65535, 65535, 65535 }));
    const uint32_t kCodes[] = { 0x08000100, 0x0100, 0x0600, 0, 0x0100 };
    for (int set = 1; set <= 5; ++set)
        EXPECT_EQ(VLRToSysConversionType(static_cast<VLR_CharacterSetType>(set)), kCodes[set - 1]);
    EXPECT_EQ(failure([] { VLRToSysConversionType(static_cast<VLR_CharacterSetType>(6)); }), "unknown from encoding");
    for (const VLR_Range range : { VLR_Range { 3, 4 }, kVLR_RangeNotFound })
        EXPECT_EQ(SysToVLR(VLRToSys(range)), range);
    EXPECT_EQ(VLRToSys(kVLR_RangeNotFound), (NSRange { NSNotFound, 0 }));
}

TEST_F(System, ReadsAndWritesFiles)
{
    const ScratchFolder folder;
    VLR_MemoryBlock block = S("old");
    EXPECT_FALSE(VLRReadFromFile(block, folder.path("none")));
    EXPECT_EQ(str(block), "old");
    EXPECT_TRUE(VLRWriteToFile(block, folder.path("a")));
    EXPECT_EQ(folder.read("a"), "old");
    EXPECT_FALSE(VLRWriteToFile(block, folder.path("none/a")));
    folder.write("empty", "");
    EXPECT_TRUE(VLRReadFromFile(block, folder.path("empty")));
    EXPECT_TRUE(block.IsEmpty());
    EXPECT_TRUE(VLRReadFromFile(block, folder.path("a")));
    EXPECT_EQ(str(block), "old");
    block.Resize(0);
    EXPECT_FALSE(VLRReadFromFile(block, folder.path("a"), 2));
    EXPECT_TRUE(block.IsEmpty());
    EXPECT_TRUE(VLRReadFromFile(block, folder.path("a"), 3));
}

} // namespace
