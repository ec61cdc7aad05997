#include "GoldenVaults.h"
#include "RunInMemory.h"
#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_SystemConversions.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>

// Whatever a file holds, a run ends, soon, in a result or in a failure text with both files as they were.

namespace {

using Clock = std::chrono::steady_clock;

class HostileVaults : public ::testing::Test {
protected:
    void meet(const std::string& hostile, const std::string& sound)
    {
        const auto start = Clock::now();
        for (const bool hostileFirst : { true, false }) {
            const std::string& first = hostileFirst ? hostile : sound;
            const std::string& second = hostileFirst ? sound : hostile;
            const std::string result = action.run(first, second);
            if (result == "<Success>") {
                expectReadable(action.files.contents[action.first]);
                expectReadable(action.files.contents[action.second]);
            } else {
                ASSERT_EQ(result.front(), '<');
                // A failure between the two writes (an entry without body on the second side alone) leaves the first
                // file replaced, and whole.
                if (action.files.contents[action.first] != first)
                    expectReadable(action.files.contents[action.first]);
                ASSERT_TRUE(action.files.contents[action.second] == second);
            }
            ASSERT_TRUE(action.locks.locks.empty());
        }
        open(hostile);
        ASSERT_LT(Clock::now() - start, std::chrono::seconds(1));
        log.lines.clear();
    }

    /// What was written reads without damage and merges with itself into the same records.
    void expectReadable(const std::string& content)
    {
        VLR_MemoryBlock block = SysToVLR(NSData::dataWithBytes(content.data(), content.size()));
        VLR_Document document(VLR_DocumentReadKeepEncrypted);
        ASSERT_EQ(document.FromBlock(block), 0u);
    }

    /// With the password: every record that can be read is written and read again to the same.
    void open(const std::string& content)
    {
        VLR_MemoryBlock block = SysToVLR(NSData::dataWithBytes(content.data(), content.size()));
        VLR_Document document(VLR_DocumentReadDecrypted);
        document.ChangePassword(VLR_String("open sesame", VLR_CharacterSetUTF8));
        try {
            document.FromBlock(block);
            VLR_MemoryBlock written;
            document.ToBlock(written);
            VLR_MemoryBlock again;
            VLR_Document reread(VLR_DocumentReadDecrypted);
            reread.ChangePassword(VLR_String("open sesame", VLR_CharacterSetUTF8));
            ASSERT_EQ(reread.FromBlock(written), 0u);
            ASSERT_EQ(reread.recordList.Count(), document.recordList.Count());
            for (uint32_t i = 0; i < reread.recordList.Count(); ++i)
                ASSERT_TRUE(reread.recordList.ObjectAtIndex(i)->IsDuplicate(
                    *document.recordList.ObjectAtIndex(i), /*verbose=*/false));
        } catch (const VLR_Exception&) {
            return; // refused, with a log line
        }
    }

    std::map<std::string, std::string> golden = goldenVaults();
    StSilentLog log;
    RunInMemory action;
};

TEST_F(HostileVaults, CutAtEveryLength)
{
    const std::string& sound = golden["two-records"];
    for (const char* name : { "two-records", "growth-items", "record-format-3" }) {
        ASSERT_GT(golden[name].size(), 300u) << name;
        for (std::size_t length = 0; length < golden[name].size(); ++length)
            meet(golden[name].substr(0, length), sound);
    }
}

TEST_F(HostileVaults, ChangedAtEveryByte)
{
    const std::string& sound = golden["two-records"];
    for (const char* name : { "two-records", "growth-items" }) {
        for (std::size_t i = 0; i < golden[name].size(); ++i) {
            for (const int change : { 0x01, 0x80, 0xFF }) {
                std::string changed = golden[name];
                changed[i] = static_cast<char>(changed[i] ^ change);
                meet(changed, sound);
            }
        }
    }
}

TEST_F(HostileVaults, EveryGoldenVaultMeetsEveryOther)
{
    for (const auto& [firstName, first] : golden) {
        for (const auto& [secondName, second] : golden)
            meet(first, second);
    }
}

/// Ten thousand vaults, each a golden one after some changes of the kinds that damage and malice make.
TEST_F(HostileVaults, TenThousandMutations)
{
    std::vector<std::string> seeds;
    for (const auto& [name, content] : golden)
        seeds.push_back(content);
    std::mt19937 random(20261121);
    const auto below = [&](std::size_t bound) { return bound == 0 ? 0 : random() % bound; };
    const auto piece = [&](const std::string& from) { return from.substr(below(from.size()), below(200)); };
    const std::string kCounts[] = { std::string(4, '\xFF'), std::string("\xFF\xFF\xFF\xFC", 4), std::string(4, '\0'),
        std::string("\x7F\xFF\xFF\xFF", 4), std::string("\x80\0\0\0", 4), "Pdat", "Fish", "SyIn" };
    for (int n = 0; n < 10000; ++n) {
        std::string vault = seeds[below(seeds.size())];
        for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
            const std::size_t at = below(vault.size());
            switch (below(6)) {
            case 0: vault.replace(at, 1, 1, static_cast<char>(random())); break;
            case 1: vault.erase(at, below(40)); break;
            case 2: vault.insert(at, piece(seeds[below(seeds.size())])); break;
            case 3: vault.replace(at, 4, kCounts[below(std::size(kCounts))]); break;
            case 4: vault.insert(at, piece(vault)); break;
            case 5: vault.resize(below(vault.size() + 1)); break;
            }
        }
        meet(vault, golden["two-records"]);
        if (HasFatalFailure())
            FAIL() << "mutation " << n;
    }
}

/// Counts that promise more than the file has may not cost memory; what is many times in it may not cost its square.
TEST_F(HostileVaults, ManySmallRecordsAndLongTexts)
{
    const std::string& sound = golden["two-records"];
    std::string many = golden["empty"];
    for (int i = 0; i < 20000; ++i)
        many += "Pdat\xFF\xFF\xFF\xFF";
    action.run(many, sound);
    EXPECT_NE(action.error.message, "");

    std::string marks = golden["empty"]; // one identity made of combining marks in the worst order
    std::string uuid = "e";
    for (int i = 0; i < 100000; ++i)
        uuid += i % 2 == 0 ? "\xCC\x81" : "\xCC\xA3";
    const auto count = [](std::size_t n) {
        return std::string { static_cast<char>(n >> 24), static_cast<char>(n >> 16), static_cast<char>(n >> 8),
            static_cast<char>(n) };
    };
    std::string block = count(4) + count(uuid.size()) + uuid + std::string(2, '\0') + count(0) + count(0) + count(0)
        + count(8) + "12345678";
    marks += "Pdat" + count(block.size()) + block;
    const auto start = Clock::now();
    EXPECT_EQ(action.run(marks, marks), "<Success>");
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
}

} // namespace
