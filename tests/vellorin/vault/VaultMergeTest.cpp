#include "VaultMerge.h"

#include "ExitStatus.h"
#include "SyncProof.h"
#include "VLR_Document.h"
#include "VLR_SystemConversions.h"
#include "VaultBytes.h"
#include "VaultDifference.h"
#include "VaultHistory.h"
#include "VaultObjections.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace {

std::string mergeOf(const std::string& a, const std::string& b, const std::string& base = "")
{
    const VaultContents ofA = contentsOf(a);
    const VaultContents ofB = contentsOf(b);
    if (base.empty())
        return bytesOf(mergeVaults(ofA, ofB));
    const VaultContents ofBase = contentsOf(base);
    return bytesOf(mergeVaults(ofA, ofB, &ofBase));
}

/// In short: "1/category/body 2//body | deletions | identity partner".
std::string told(const std::string& bytes)
{
    const VaultContents vault = contentsOf(bytes);
    std::multiset<std::string> records;
    for (const VaultRecord& record : vault.records)
        records.insert(
            std::string(record.uuid) + "/" + std::string(record.category) + "/" + std::string(record.body, 0, 1));
    std::string result;
    for (const std::string& record : records)
        result += record + " ";
    result += "|";
    for (const VaultDeletion& deletion : vault.deletions)
        result += " " + std::string(deletion.uuid);
    return result + " | " + std::string(vault.identity) + " " + std::string(vault.partner);
}

struct MergeCase {
    const char* name;
    SketchedVault a;
    SketchedVault b;
    std::optional<SketchedVault> base;
    const char* told;
};

const std::string kX = "xxxxxxxx";
const std::string kY = "yyyyyyyy";
const std::string kZ = "zzzzzzzz";

const MergeCase kMerges[] = {
    { "one identity", { {}, {}, "I", "P" }, { {}, {}, "I", "P" }, {}, "| | I P" },
    { "the base's identity", { {}, {}, "I" }, { {}, {}, "J" }, SketchedVault { {}, {}, "J" }, "| | J " },
    { "else the smaller", { {}, {}, "J" }, { {}, {}, "I" }, {}, "| | I " },
    { "but one that there is", { {}, {}, "" }, { {}, {}, "J" }, {}, "| | J " },
    { "the partner that is new", { {}, {}, "I", "N" }, { {}, {}, "I", "P" }, SketchedVault { {}, {}, "I", "P" },
        "| | I N" },
    { "a deletion beats an old copy", { { { "1" }, { "2" } } }, { {}, { "1", "3" } }, {}, "2//1 | 1 3 | I " },
    { "new on either side", { { { "1" } } }, { { { "2" } } }, {}, "1//1 2//1 | | I " },
    { "the greater body", { { { "1", "c", kX } } }, { { { "1", "c", kY } } }, {}, "1/c/y | | I " },
    { "the body that isn't the base's", { { { "1", "c", kX } } }, { { { "1", "c", kY } } },
        SketchedVault { { { "1", "c", kY } } }, "1/c/x | | I " },
    { "no base has both", { { { "1", "c", kX } } }, { { { "1", "c", kY } } }, SketchedVault { { { "1", "c", kZ } } },
        "1/c/y | | I " },
    { "two categories", { { { "1", "c" } } }, { { { "1", "d" } } }, {}, "1/c/1 1/d/1 | | I " },
    { "two categories, in another order", { { { "1", "c" }, { "1", "d" } } }, { { { "1", "d" }, { "1", "c" } } }, {},
        "1/c/1 1/d/1 | | I " },
    { "two versions on one side", { { { "1", "c", kX } } }, { { { "1", "c", kX }, { "1", "c", kY } } }, {},
        "1/c/x 1/c/y | | I " },
    { "two versions that the other side lacks", {}, { { { "1", "c", kX }, { "1", "c", kY } } }, {},
        "1/c/x 1/c/y | | I " },
    { "a repetition", { { { "1" }, { "1" } } }, { { { "1" } } }, {}, "1//1 | | I " },
};

TEST(VaultMergeTest, ChoosesByTheSameRulesInEitherOrder)
{
    for (const MergeCase& c : kMerges) {
        const std::string base = c.base ? c.base->bytes() : "";
        const std::string merged = mergeOf(c.a.bytes(), c.b.bytes(), base);
        EXPECT_EQ(told(merged), c.told) << c.name;
        EXPECT_TRUE(merged == mergeOf(c.b.bytes(), c.a.bytes(), base)) << c.name;
        EXPECT_TRUE(told(mergeOf(merged, merged, base)) == told(merged)) << c.name;
    }
}

/// Preferences: version, date, stamp, flags and so on, told by one byte of the background.
std::string preferences(uint32_t date, char background)
{
    std::string bytes = goldenVaults().at("empty").substr(276, 34);
    bytes.replace(4, 4, number(date));
    bytes[26] = background;
    return bytes;
}

TEST(VaultMergeTest, TakesTheLaterDateAndThePreferencesThatChanged)
{
    SketchedVault old { {}, {}, "I", "", "m", preferences(100, 'x') };
    SketchedVault fresh { {}, {}, "I", "", "m", preferences(50, 'b') };
    const auto merged = [&](const std::string& base) {
        const std::string bytes = mergeOf(old.bytes(), fresh.bytes(), base);
        EXPECT_TRUE(bytes == mergeOf(fresh.bytes(), old.bytes(), base));
        const VaultContents vault = contentsOf(bytes);
        EXPECT_EQ(vault.openDate, 100u);
        return std::string(vault.preferences);
    };
    EXPECT_EQ(merged(""), preferences(100, 'x')) << "the greater bytes";
    EXPECT_EQ(merged(old.bytes()), preferences(100, 'b')) << "what isn't the base's";
}

TEST(VaultMergeTest, MakesTheSameIdentityEachTimeWhereThereIsNone)
{
    const std::string a = SketchedVault { { { "1" } }, {}, "" }.bytes();
    const std::string b = SketchedVault { { { "2" } }, {}, "" }.bytes();
    const std::string merged = mergeOf(a, b);
    EXPECT_TRUE(merged == mergeOf(b, a));
    EXPECT_EQ(contentsOf(merged).identity.size(), 36u);
}

TEST(VaultMergeTest, RefusesAndFailsInWords)
{
    const auto failureOf = [](const SketchedVault& a, const SketchedVault& b) {
        try {
            mergeOf(a.bytes(), b.bytes());
        } catch (const CommandFailure& failure) {
            return std::to_string(failure.status()) + " " + failure.what();
        }
        return std::string();
    };
    EXPECT_EQ(failureOf({ {}, {}, "I", "", "m" }, { {}, {}, "I", "", "n" }), "2 the master passwords differ");
    EXPECT_EQ(failureOf({ { { "1", "", "" } } }, {}),
        "3 the vaults can't be merged, and nothing was written: no original encrypted data to write (check --repair saves "
        "what is whole)");
}

/// A small model of what must hold of any merge: nothing that a side has is gone unless a side has deleted it, and
/// nothing is there that no side had.
void expectNothingLost(const std::string& a, const std::string& b, const std::string& merged)
{
    const VaultState ofA = stateOf(a);
    const VaultState ofB = stateOf(b);
    const VaultState result = stateOf(merged);
    const VaultContents output = contentsOf(merged);
    EXPECT_EQ(reasonNotProved(contentsOf(a), contentsOf(b), { &output }).value_or(""), "");
    std::set<std::string> deletions = ofA.deletions;
    deletions.insert(ofB.deletions.begin(), ofB.deletions.end());
    EXPECT_EQ(result.deletions, deletions);
    const std::set<std::string> left = result.UUIDs();
    for (const VaultState* const side : { &ofA, &ofB }) {
        for (const std::string& uuid : side->UUIDs())
            EXPECT_TRUE(left.contains(uuid) || deletions.contains(uuid)) << uuid;
    }
    for (const std::string& record : result.records)
        EXPECT_TRUE(ofA.records.contains(record) || ofB.records.contains(record)) << record.substr(0, 36);
    for (const std::string& uuid : left)
        EXPECT_TRUE(!deletions.contains(uuid) || (ofA.UUIDs().contains(uuid) && ofB.UUIDs().contains(uuid))) << uuid;
}

TEST(VaultMergeTest, RandomHistoriesLoseNothingInEitherOrder)
{
    for (uint64_t seed = 0; seed < 150; ++seed) {
        SCOPED_TRACE(seed);
        VaultHistory history(seed);
        const auto [a, b] = history.pair();
        const std::string base = history.below(2) == 0 ? history.pair().first : a;
        const std::string merged = mergeOf(a, b);
        const std::string withBase = mergeOf(a, b, base);
        EXPECT_TRUE(merged == mergeOf(b, a));
        EXPECT_TRUE(withBase == mergeOf(b, a, base));
        expectNothingLost(a, b, merged);
        expectNothingLost(a, b, withBase);
        const VaultPair byTheCore = ::merged({ a, b });
        EXPECT_EQ(stateOf(merged), stateOf(byTheCore.first));
        EXPECT_TRUE(differenceOf(contentsOf(merged), contentsOf(byTheCore.second)).inStep);
        // What is merged again with what it came from stays as it is.
        EXPECT_EQ(stateOf(mergeOf(merged, a)), stateOf(merged));
        const std::string later = history.changed(merged);
        expectNothingLost(later, b, mergeOf(later, b, a));
    }
}

// Objections

struct ObjectionCase {
    const char* name;
    SketchedVault a;
    SketchedVault b;
    const char* message;
};

SketchedVault numbered(int from, int to, std::vector<std::string> deletions, const std::string& identity)
{
    SketchedVault vault { {}, std::move(deletions), identity };
    for (int i = from; i < to; ++i)
        vault.records.push_back({ std::to_string(i) });
    return vault;
}

std::vector<std::string> numbers(int to)
{
    std::vector<std::string> result;
    for (int i = 0; i < to; ++i)
        result.push_back(std::to_string(i));
    return result;
}

const ObjectionCase kObjections[] = {
    { "copies", { { { "1" } } }, { { { "1" } } }, "" },
    { "other masters", { {}, {}, "I", "", "m" }, { {}, {}, "I", "", "n" }, "a and b: the master passwords differ" },
    { "strangers", { { { "1" } }, { "3" }, "I", "P" }, { { { "2" } }, { "4" }, "J", "Q" },
        "a and b: the vaults have no record, no deletion and no identity in common" },
    { "an empty vault", { {}, {}, "I" }, { { { "2" } }, {}, "J" }, "" },
    { "no identity is none in common", { { { "1" } }, {}, "", "" }, { { { "2" } }, {}, "", "" },
        "a and b: the vaults have no record, no deletion and no identity in common" },
    { "a partner", { { { "1" } }, {}, "I" }, { { { "2" } }, {}, "J", "I" }, "" },
    { "a common partner", { { { "1" } }, {}, "I", "P" }, { { { "2" } }, {}, "J", "P" }, "" },
    { "a common deletion", { { { "1" } }, { "ab" }, "I" }, { { { "2" } }, { "AB" }, "J" }, "" },
    { "a deleted record", { { { "1" } }, {}, "I" }, { { { "2" } }, { "1" }, "J" }, "" },
    { "ten removals", numbered(0, 12, {}, "I"), numbered(50, 51, numbers(10), "I"), "" },
    { "eleven of many", numbered(0, 44, {}, "I"), numbered(50, 51, numbers(11), "I"), "" },
    { "more than a quarter", numbered(0, 43, {}, "I"), numbered(50, 51, numbers(11), "I"),
        "a: would lose 11 of 43 records, because b has deleted them" },
    { "its own deletions count", numbered(0, 43, numbers(11), "I"), numbered(50, 51, {}, "I"),
        "a: would lose 11 of 43 records, because b has deleted them, or it lists them as deleted itself" },
};

TEST(VaultObjectionsTest, NameWhatIsWrong)
{
    for (const ObjectionCase& c : kObjections) {
        const VaultContents a = contentsOf(c.a);
        const VaultContents b = contentsOf(c.b);
        const NamedVault ofA { "a", a };
        const NamedVault ofB { "b", b };
        const VaultDifference difference = differenceOf(a, b);
        std::string messages;
        for (const auto& objection : { objectionToMasters(ofA, ofB), objectionToDamage(ofA), objectionToDamage(ofB),
                 objectionToUnrelated(ofA, ofB, difference),
                 objectionToRemovals(ofA, difference.goFromA(), difference.selfDeletedInA.size(), ofB),
                 objectionToRemovals(ofB, difference.goFromB(), difference.selfDeletedInB.size(), ofA) })
            messages += objection.value_or("");
        EXPECT_EQ(messages, c.message) << c.name;
    }
}

TEST(VaultObjectionsTest, DamageIsNamedWithItsPlaces)
{
    const VaultContents cut = contentsOf(goldenVaults().at("record-chunk-cut"));
    EXPECT_EQ(objectionToDamage({ "v", cut }),
        "v: has 2 damaged places: the record is cut at byte 553; bytes that belong to no record at byte 561");
    const VaultContents many
        = contentsOf(goldenVaults().at("empty") + "Pdat    Pdat    Pdat    Pdat    Pdat    Pdat    ");
    EXPECT_TRUE(objectionToDamage({ "v", many })->ends_with("; and more"));
}

// Repair

/// Uuid, category and body of the records that are whole.
std::multiset<std::string> wholeRecords(const VaultContents& vault)
{
    std::multiset<std::string> result;
    for (const VaultRecord& record : vault.records) {
        if (record.isWhole && !record.body.empty())
            result.insert(
                std::string(record.uuid) + "|" + std::string(record.category) + "|" + std::string(record.body));
    }
    return result;
}

void expectRepaired(const std::string& bytes)
{
    const VaultContents damaged = contentsOf(bytes);
    std::vector<VaultDamage> lost;
    const NSData data = repairedVault(damaged, lost);
    VLR_Document core(VLR_DocumentReadKeepEncrypted);
    VLR_MemoryBlock block = SysToVLR(data);
    EXPECT_EQ(core.FromBlock(block), 0u);
    VLR_MemoryBlock written;
    EXPECT_NO_THROW(if (!damaged.referenceBuffer.empty()) core.ToBlock(written));

    const VaultContents repaired((NSData(data)));
    EXPECT_EQ(wholeRecords(repaired), wholeRecords(damaged));
    EXPECT_EQ(repaired.records.size(), wholeRecords(damaged).size());
    EXPECT_EQ(repaired.identity, damaged.identity);
    EXPECT_EQ(repaired.partner, damaged.partner);
    EXPECT_EQ(repaired.preferences, damaged.preferences);
    EXPECT_EQ(repaired.referenceBuffer, damaged.referenceBuffer);
    EXPECT_EQ(repaired.deletions.size(), damaged.deletions.size());
    for (const VaultDamage& left : repaired.damage)
        EXPECT_TRUE(left.record && repaired.records[*left.record].format != 4) << describe(left.kind);
    const auto isLost = [](const VaultDamage& damage) {
        return damage.kind == VaultDamage::Kind::RecordCut || damage.kind == VaultDamage::Kind::BodyMissing
            || damage.kind == VaultDamage::Kind::StrayBytes;
    };
    EXPECT_GE(
        lost.size(), static_cast<std::size_t>(std::count_if(damaged.damage.begin(), damaged.damage.end(), isLost)));
    const bool hasEmptyDeletion = std::any_of(damaged.deletions.begin(), damaged.deletions.end(),
        [](const VaultDeletion& deletion) { return deletion.uuid.empty(); }); // its count may have been all ones
    if (damaged.damage.empty() && !hasEmptyDeletion) {
        EXPECT_TRUE(lost.empty() && bytesOf(data).ends_with(bytes)); // the magic may be new
    }
}

TEST(VaultRepairTest, KeepsWhatIsWholeOfGoldenVaultsCutAndChanged)
{
    for (const auto& [name, bytes] : goldenVaults()) {
        SCOPED_TRACE(name);
        std::vector<std::string> variants { bytes };
        for (std::size_t i = 300; i < bytes.size(); i += 3) {
            variants.push_back(bytes.substr(0, i));
            variants.push_back(bytes);
            variants.back()[i] = static_cast<char>(variants.back()[i] ^ 0x81);
            variants.push_back(bytes);
            variants.back().replace(i, 4, 4, '\xFF');
        }
        for (const std::string& variant : variants) {
            try {
                contentsOf(variant);
            } catch (const NoVault&) {
                continue; // nothing to repair
            }
            expectRepaired(variant);
        }
    }
}

} // namespace
