#include "CoreFixture.h"
#include "PrivateBus.h"
#include "VLR_ApplicationSettings.h"
#include "VLR_KernelRandom.h"
#include "VLR_OSFile.h"
#include "VLR_RandomPassword.h"
#include "VLR_RandomSource.h"
#include "VLR_System.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class ApplicationHost : public CoreTest { };

TEST_F(ApplicationHost, DrawsBelowTheBoundWithoutFavourites)
{
    EXPECT_EQ(VLR_System::RandomUInt32(0), 0u);
    EXPECT_EQ(VLR_System::RandomUInt32(1), 0u);
    // The draws fall into `cells` equal parts. The last bounds are those at which a plain remainder would favour the
    // small numbers most: it would draw the first third of the one and the first half of the other twice as often.
    const struct {
        uint32_t bound, cells;
    } kCases[]
        = { { 2, 2 }, { 3, 3 }, { 10, 10 }, { 26, 26 }, { 0x80000000, 16 }, { 0xC0000000, 3 }, { 0xAAAAAAAA, 2 } };
    constexpr int kDraws = 20000;
    for (const auto& c : kCases) {
        std::vector<int> counts(c.cells);
        for (int i = 0; i < kDraws; ++i) {
            const uint32_t draw = VLR_System::RandomUInt32(c.bound);
            ASSERT_LT(draw, c.bound);
            ++counts[static_cast<std::size_t>(uint64_t { draw } * c.cells / c.bound)];
        }
        double chiSquare = 0;
        for (const int count : counts)
            chiSquare += std::pow(count - double { kDraws } / c.cells, 2) / (double { kDraws } / c.cells);
        const double freedom = c.cells - 1.0;
        // By chance less than once in a million runs.
        EXPECT_LT(chiSquare, freedom + 7 * std::sqrt(2 * freedom) + 20) << c.bound;
    }
}

TEST_F(ApplicationHost, DrawsAllBitsForTheGenerators)
{
    constexpr int kDraws = 4096;
    int ones[31] = {};
    for (int i = 0; i < kDraws; ++i) {
        const long draw = VLR_RandomDraw();
        ASSERT_TRUE(draw >= 0 && draw < 1L << 31);
        for (int bit = 0; bit < 31; ++bit)
            ones[bit] += static_cast<int>(draw >> bit & 1);
    }
    for (const int count : ones)
        EXPECT_NEAR(count, kDraws / 2, 8 * 32); // eight standard deviations
}

TEST_F(ApplicationHost, GeneratesNoPasswordTwice)
{
    for (const char* const pattern : { "{[#xX]:16:16}", "a-a-a-a-a-a", "ssssssss" }) { // more than 40 bits each
        std::set<std::string> passwords;
        for (int i = 0; i < 500; ++i) {
            VLR_String password;
            VLR_RandomPassword::GenerateOnePassword(S(pattern), password);
            passwords.insert(str(password));
        }
        EXPECT_EQ(passwords.size(), 500u) << pattern;
    }
}

TEST_F(ApplicationHost, FillsEachByteFromTheKernel)
{
    unsigned char seen[33] = {};
    for (int round = 0; round < 16; ++round) {
        unsigned char bytes[33] = {};
        FillWithKernelRandomness(bytes, 32);
        for (int i = 0; i < 33; ++i)
            seen[i] |= bytes[i];
    }
    for (int i = 0; i < 32; ++i)
        EXPECT_NE(seen[i], 0) << i;
    EXPECT_EQ(seen[32], 0);
}

TEST_F(ApplicationHost, ReadsWholeFilesAndNothingElse)
{
    const ScratchFolder folder;
    folder.write("text", std::string("a\0b", 3));
    folder.write("empty", "");
    std::filesystem::create_symlink("text", folder.path("link"));
    std::filesystem::create_directory(folder.path("folder"));
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    for (const char* const name : { "largest", "larger" })
        folder.write(name, "");
    std::filesystem::resize_file(folder.path("largest"), 16 << 20);
    std::filesystem::resize_file(folder.path("larger"), (16 << 20) + 1);

    const struct {
        std::string path;
        int32_t result;
        uint32_t length;
    } kCases[] = {
        { folder.path("text"), 0, 3 },
        { folder.path("link"), 0, 3 },
        { folder.path("empty"), 0, 0 },
        { folder.path("largest"), 0, 16 << 20 },
        { folder.path("larger"), 5, 0 },
        { folder.path("missing"), 5, 0 },
        { folder.path("folder"), 5, 0 },
        { folder.path("pipe"), 5, 0 },
        { "/dev/zero", 5, 0 },
        { "", 5, 0 },
    };
    for (const auto& c : kCases) {
        VLR_OSFile file;
        file.path = S(c.path);
        EXPECT_EQ(VLR_System::ReadFromOSFile(file), c.result) << c.path;
        EXPECT_EQ(file.data.Length(), c.length) << c.path;
    }
}

/// tests/programs/ForeignReceiver.cpp at work on the bus in use.
class ForeignReceiver {
public:
    explicit ForeignReceiver(const std::string& mode)
        : process([&](const std::function<void()>& isReady) {
            ::dup2(output.ends[1], STDOUT_FILENO);
            isReady();
            return ::execl(VELLORIN_BIN "/foreign-receiver", "foreign-receiver", mode.c_str(), nullptr);
        })
    {
    }

    /// The next line that it prints; what there is of it if none comes within 10 seconds.
    std::string line()
    {
        std::string text;
        pollfd waitFor { output.ends[0], POLLIN, 0 };
        for (char c = 0; ::poll(&waitFor, 1, 10000) == 1 && ::read(output.ends[0], &c, 1) == 1 && c != '\n';)
            text += c;
        return text;
    }

private:
    struct Pipe {
        Pipe() { EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0); }
        ~Pipe()
        {
            ::close(ends[0]);
            ::close(ends[1]);
        }
        int ends[2] = { -1, -1 };
    };

    const Pipe output;
    SecondProcess process;
};

/// A private bus, and a record of a document with an identity, whose last use counts.
class RunningApplication : public CoreTest {
protected:
    RunningApplication()
    {
        std::filesystem::create_directory(folder.path("vellorin"));
        folder.write("vellorin/settings", "[Preferences]\nTrackLastUsedDate=1\n");
        ::setenv("XDG_CONFIG_HOME", folder.path(".").c_str(), 1);
        VLR_ApplicationSettings::Load();
        document.uniqueDocumentID = S("DOC-1");
    }

    double secondsToUseARecord()
    {
        const auto start = std::chrono::steady_clock::now();
        VLR_PasswordData record(&document);
        record.SetLastUsedDateToNow();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

    const ScratchFolder folder;
};

TEST_F(RunningApplication, HearsThatARecordWasUsed)
{
    const PrivateBus bus;
    ForeignReceiver application("yes");
    ASSERT_EQ(application.line(), "ready");
    secondsToUseARecord();
    EXPECT_EQ(application.line(), "Sh11 Used -1 0 ----listutf8 DOC-1");

    VLR_System::SendMessageToRunningApp(1, &document); // a kind that nobody knows
    VLR_System::SendMessageToRunningApp(0, nullptr);
    for (const std::string& identity : { std::string(), std::string("\xFF"), std::string(257, 'x') }) {
        document.uniqueDocumentID = S(identity);
        VLR_System::SendMessageToRunningApp(0, &document);
    }
    document.uniqueDocumentID = S(std::string(256, 'x'));
    VLR_System::SendMessageToRunningApp(0, &document);
    EXPECT_EQ(application.line(), "Sh11 Used -1 0 ----listutf8 " + std::string(256, 'x'));
}

TEST_F(RunningApplication, NeverHoldsUpItsCaller)
{
    const PrivateBus bus;
    EXPECT_LT(secondsToUseARecord(), 3.0); // nobody there
    for (const char* const mode : { "silent", "error", "nonsense", "quits" }) {
        ForeignReceiver application(mode);
        ASSERT_EQ(application.line(), "ready");
        EXPECT_LT(secondsToUseARecord(), 3.0) << mode;
        EXPECT_EQ(application.line(), "Sh11 Used -1 0 ----listutf8 DOC-1") << mode;
    }
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    EXPECT_LT(secondsToUseARecord(), 3.0);
    const SilentBus silent;
    EXPECT_LT(secondsToUseARecord(), 3.0);
}

} // namespace
