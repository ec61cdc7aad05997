#include "ExtraStringUtilities.h"
#include "NSException.h"
#include "NSLog.h"
#include "ScratchFolder.h"
#include "StandIns.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

constexpr char kAttribute[] = "user.com.apple.FinderInfo";
constexpr uint32_t kType = 0x566C7234;
constexpr uint32_t kCreator = 0x73683131;

std::string reasonOf(const std::function<void()>& work)
{
    try {
        work();
    } catch (const NSException& exception) {
        return exception.name() + ": " + exception.reason();
    }
    return "";
}

TEST(ExtraStringUtilities, FindsAnotherProcessWhateverTheCase)
{
    EventSystemStandIn events;
    ProcessSerialNumber number;
    EXPECT_TRUE(ExtraStringUtilities::findProcess("com.tarquen.Vellorin", &number, events));
    EXPECT_EQ(number.bytes(), std::string("\0\0\0\0\1\2\3\4", 8));
    EXPECT_TRUE(ExtraStringUtilities::findProcess("com.tarquen.vellorin", nullptr, events));
    EXPECT_FALSE(ExtraStringUtilities::findProcess("com.tarquen.Vellorin2", nullptr, events));
    events.pid = static_cast<uint32_t>(::getpid());
    EXPECT_FALSE(ExtraStringUtilities::findProcess("com.tarquen.Vellorin", nullptr, events));
    events.pid = std::nullopt; // it ended between the two questions
    EXPECT_FALSE(ExtraStringUtilities::findProcess("com.tarquen.Vellorin", nullptr, events));
}

TEST(ExtraStringUtilities, TwoPathsOfOneObjectAreTheSame)
{
    const ScratchFolder folder;
    const std::string a = folder.write("a", "x");
    const std::string b = folder.write("b", "x");
    std::filesystem::create_symlink("a", folder.path("soft"));
    std::filesystem::create_hard_link(a, folder.path("hard"));
    const auto same = [](const std::string& x, const std::string& y) {
        return FSCompareFSRefs(ExtraStringUtilities::FSRefWithPath(x), ExtraStringUtilities::FSRefWithPath(y)) == 0;
    };
    EXPECT_TRUE(same(a, folder.path("./a")));
    EXPECT_TRUE(same(a, folder.path("soft")));
    EXPECT_TRUE(same(a, folder.path("hard")));
    EXPECT_FALSE(same(a, b));
    EXPECT_EQ(reasonOf([&] { ExtraStringUtilities::FSRefWithPath(folder.path("none")); }),
        "NSInternalInconsistencyException: Can't find file., method: FSRefWithPath, file: ExtraContainerUtilities, "
        "line: 1202");
    std::filesystem::create_symlink("loop", folder.path("loop"));
    EXPECT_EQ(reasonOf([&] { ExtraStringUtilities::FSRefWithPath(folder.path("loop")); }),
        "NSInternalInconsistencyException: ExtraContainerUtilities FSRefWithPath, method: FSRefWithPath, file: "
        "ExtraContainerUtilities, line: 1203");
}

TEST(ExtraStringUtilities, CodesGoIntoTheFirstBytesAndTheRestStays)
{
    const ScratchFolder folder;
    const std::string file = folder.write("a", "x");
    if (::setxattr(file.c_str(), kAttribute, "0123456789abcdef0123456789abcdef", 32, 0) != 0)
        GTEST_SKIP() << "no extended attributes here";
    EXPECT_TRUE(ExtraStringUtilities::setType(file, kType, kCreator));
    char bytes[33] = {};
    EXPECT_EQ(::getxattr(file.c_str(), kAttribute, bytes, 33), 32);
    EXPECT_STREQ(bytes, "Vlr4sh1189abcdef0123456789abcdef");
    ::removexattr(file.c_str(), kAttribute);
    EXPECT_TRUE(ExtraStringUtilities::setType(file, kType, kCreator));
    EXPECT_EQ(::getxattr(file.c_str(), kAttribute, bytes, 33), 32);
    EXPECT_EQ(std::memcmp(bytes, "Vlr4sh11\0\0\0\0\0\0\0\0", 16), 0);
}

TEST(ExtraStringUtilities, CodesThatCantBeKeptOnlyLog)
{
    const ScratchFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::string logged;
    const NSLogSink before = setLogSink([&](std::string_view line) { logged += line; });
    EXPECT_FALSE(ExtraStringUtilities::setType("/proc/self/status", kType, kCreator)); // no attributes there
    EXPECT_EQ(logged, "-[NSString(ExtraStringUtilities) setType:creator:]:1538");
    logged.clear();
    EXPECT_FALSE(ExtraStringUtilities::setType(pipe, kType, kCreator)); // reads as if it had none, and takes none
    EXPECT_EQ(logged, "-[NSString(ExtraStringUtilities) setType:creator:]:1547");
    setLogSink(before);
    EXPECT_THROW(ExtraStringUtilities::setType("/nonexistent", kType, kCreator), NSException);
}

} // namespace
