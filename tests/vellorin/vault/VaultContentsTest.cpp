#include "VaultContents.h"

#include "CarriedWhole.h"
#include "CoreFixture.h"
#include "ExitStatus.h"
#include "ScratchFolder.h"
#include "VaultBytes.h"

#include <algorithm>
#include <chrono>

namespace {

using Kind = VaultDamage::Kind;

/// What a reader counts as errors.
std::size_t errorsIn(const VaultContents& vault)
{
    const auto isError = [&](const VaultDamage& damage) {
        const bool endsTheRead = damage.offset + damage.length == vault.bytes().length();
        return damage.kind == Kind::RecordCut || (damage.kind == Kind::StrayBytes && endsTheRead);
    };
    return static_cast<std::size_t>(std::count_if(vault.damage.begin(), vault.damage.end(), isError));
}

/// A record without body can't be written at all; whoever only asks whether bytes are lost needn't care.
bool hasNoDamageButMissingBodies(const VaultContents& vault)
{
    return std::all_of(vault.damage.begin(), vault.damage.end(),
        [](const VaultDamage& damage) { return damage.kind == Kind::BodyMissing; });
}

class VaultContentsTest : public CoreTest {
protected:
    /// The core's reader and this one find the same in these bytes.
    void expectTheCoresReading(const std::string& bytes)
    {
        VLR_Document core(VLR_DocumentReadKeepEncrypted);
        VLR_MemoryBlock block = S(bytes);
        uint32_t errors = 0;
        const bool isRefused = !failure([&] { errors = core.FromBlock(block); }).empty();
        log.clear();
        try {
            const VaultContents vault = contentsOf(bytes);
            ASSERT_FALSE(isRefused);
            expectSameHeader(vault, core);
            expectSameRecords(vault, core);
            EXPECT_EQ(errorsIn(vault), errors);
            EXPECT_EQ(isCarriedWhole(vault.bytes()), hasNoDamageButMissingBodies(vault));
            expectDamageInOrder(vault);
        } catch (const NoVault& noVault) {
            EXPECT_TRUE(isRefused) << noVault.what() << " at " << noVault.offset();
            EXPECT_LE(noVault.offset(), bytes.size());
        }
    }

private:
    void expectSameHeader(const VaultContents& vault, const VLR_Document& core)
    {
        EXPECT_EQ(vault.referenceBuffer, str(core.referenceBuffer));
        if (!vault.identity.empty()) { // else the core makes one
            EXPECT_EQ(vault.identity, str(core.uniqueDocumentID));
        }
        EXPECT_EQ(vault.partner, str(core.partnerDocumentID));
        EXPECT_EQ(vault.openDate, core.previousOpenDate);
        EXPECT_EQ(vault.sortField | (vault.sortDescending ? 0x80000000u : 0u), core.sortParams);
        ASSERT_EQ(vault.deletions.size(), core.deletionList.Count());
        for (uint32_t i = 0; i < core.deletionList.Count(); ++i) {
            EXPECT_EQ(vault.deletions[i].uuid, str(core.deletionList.ObjectAtIndex(i)->uuid));
            EXPECT_EQ(vault.deletions[i].checksum, core.deletionList.ObjectAtIndex(i)->checksum);
        }
    }

    void expectSameRecords(const VaultContents& vault, const VLR_Document& core)
    {
        ASSERT_EQ(vault.records.size(), core.recordList.Count());
        for (uint32_t i = 0; i < core.recordList.Count(); ++i) {
            const VLR_PasswordData& record = *core.recordList.ObjectAtIndex(i);
            EXPECT_EQ(vault.records[i].uuid, str(record.UUID()));
            EXPECT_EQ(vault.records[i].category, str(record.Category()));
            EXPECT_EQ(vault.records[i].body, str(record.EncryptedBody()));
            EXPECT_EQ(vault.records[i].changedSinceSync, record.ChangedSinceSync() != 0);
        }
    }

    void expectDamageInOrder(const VaultContents& vault)
    {
        for (std::size_t i = 0; i < vault.damage.size(); ++i) {
            const VaultDamage& damage = vault.damage[i];
            EXPECT_LE(damage.offset + damage.length, vault.bytes().length());
            EXPECT_TRUE(i == 0 || vault.damage[i - 1].offset <= damage.offset);
            if (damage.record) {
                ASSERT_LT(*damage.record, vault.records.size());
                const VaultRecord& record = vault.records[*damage.record];
                EXPECT_TRUE(record.offset <= damage.offset && damage.offset < record.offset + record.length);
                EXPECT_EQ(record.isWhole, damage.kind != Kind::RecordCut);
            }
        }
    }
};

TEST_F(VaultContentsTest, GoldenVaultsCutAtEveryLengthReadAsByTheCore)
{
    for (const auto& [name, bytes] : goldenVaults()) {
        SCOPED_TRACE(name);
        for (std::size_t length = 0; length <= bytes.size(); ++length)
            expectTheCoresReading(bytes.substr(0, length));
    }
}

TEST_F(VaultContentsTest, GoldenVaultsChangedAtEveryByteReadAsByTheCore)
{
    for (const auto& [name, bytes] : goldenVaults()) {
        SCOPED_TRACE(name);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            if (i >= 12 && i < 268 && i % 64 != 0)
                continue; // the reference buffer's bytes mean nothing by themselves
            for (const int change : { 0x01, 0x03, 0x80, 0xFF }) {
                std::string changed = bytes;
                changed[i] = static_cast<char>(changed[i] ^ change);
                expectTheCoresReading(changed);
            }
        }
    }
}

struct DamageCase {
    const char* golden;
    std::vector<std::pair<Kind, uint64_t>> damage; // with its offset
};

TEST_F(VaultContentsTest, DamageHasItsKindAndPlace)
{
    const DamageCase kCases[] = {
        { "two-records", {} },
        { "no-magic", {} },
        { "tag-in-body", {} },
        { "body-empty", { { Kind::BodyMissing, 437 } } },
        { "bytes-behind-body", { { Kind::BytesBehindBody, 553 } } },
        { "garbage-behind", { { Kind::StrayBytes, 553 } } },
        { "garbage-between-records", { { Kind::StrayBytes, 553 } } },
        { "record-chunk-cut", { { Kind::RecordCut, 553 }, { Kind::StrayBytes, 561 } } },
        { "record-block-short", { { Kind::RecordCut, 366 } } },
        { "record-block-without-body", { { Kind::RecordCut, 366 } } },
        { "record-count-all-ones", { { Kind::RecordCut, 366 } } },
        { "record-count-cut", { { Kind::RecordCut, 553 } } },
        { "record-count-too-large", { { Kind::RecordCut, 366 }, { Kind::StrayBytes, 374 } } },
        { "record-format-0", { { Kind::OlderFormat, 366 } } },
        { "record-format-3", { { Kind::OlderFormat, 366 } } },
        { "record-format-5", { { Kind::NewerFormat, 366 } } },
        { "tag-behind", { { Kind::RecordCut, 553 } } },
    };
    const auto golden = goldenVaults();
    for (const DamageCase& c : kCases) {
        const VaultContents vault = contentsOf(golden.at(c.golden));
        std::vector<std::pair<Kind, uint64_t>> found;
        for (const VaultDamage& damage : vault.damage)
            found.emplace_back(damage.kind, damage.offset);
        EXPECT_EQ(found, c.damage) << c.golden;
    }
}

TEST_F(VaultContentsTest, HostileCountsCostNeitherTimeNorMemory)
{
    const std::string empty = goldenVaults().at("empty");
    std::string tags = empty;
    for (int i = 0; i < 300000; ++i)
        tags += "Pdat"; // the second one of two is the first one's count
    const std::string almost = empty + std::string(3000000, 'P'); // a search that begins anew at each byte
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(contentsOf(tags).records.size(), 150000u);
    EXPECT_EQ(contentsOf(almost).damage.size(), 1u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(VaultContentsTest, FilesThatCantBeReadAreToldWithPathAndReason)
{
    const ScratchFolder folder;
    folder.write("text", "hello");
    struct {
        std::string path;
        std::string message;
    } const kCases[] = {
        { folder.path("missing"), ": can't be read: No such file or directory" },
        { folder.path(""), ": can't be read: no regular file, or too large for a vault" },
        { folder.path("text"), ": is no vault: the reference buffer is not where it has to be (at byte 0)" },
    };
    for (const auto& c : kCases) {
        try {
            readVault(c.path);
            ADD_FAILURE() << c.path;
        } catch (const CommandFailure& failure) {
            EXPECT_EQ(failure.what(), c.path + c.message);
            EXPECT_EQ(failure.status(), kFailed);
        }
    }
}

} // namespace
