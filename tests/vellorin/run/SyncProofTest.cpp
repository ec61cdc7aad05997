#include "SyncProof.h"

#include "VaultBytes.h"
#include "VaultHistory.h"

#include <gtest/gtest.h>

namespace {

const std::string kX = "XXXXXXXX";
const std::string kY = "YYYYYYYY";

struct ProofCase {
    const char* name;
    SketchedVault first;
    SketchedVault second;
    SketchedVault output; // of both sides
    const char* reason;
};

const ProofCase kProofs[] = {
    { "the union", { { { "1" } } }, { { { "2" } } }, { { { "1" }, { "2" } } }, "" },
    { "one is missing", { { { "1" } } }, { { { "2" } } }, { { { "1" } } }, "a record would be lost: 2" },
    { "gone by a deletion", { { { "1" } } }, { {}, { "1" } }, { {}, { "1" } }, "" },
    { "gone by a deletion in another case", { { { "ab" } } }, { {}, { "AB" } }, { {}, { "aB" } }, "" },
    { "a deletion is missing", { {}, { "1" } }, { {} }, { {} }, "a deletion would be lost: 1" },
    { "record and deletion are missing", { { { "1" } } }, { {}, { "1" } }, { {} }, "a record would be lost: 1" },
    { "gone by a deletion from nowhere", { { { "1" } } }, { {} }, { {}, { "1" } },
        "a deletion would stand there that stood in neither file: 1" },
    { "a body from nowhere", { { { "1", "", kX } } }, { {} }, { { { "1", "", kY } } },
        "a record would hold what stood in neither file: 1" },
    { "bodies changed places", { { { "1", "", kX } } }, { { { "2", "", kY } } },
        { { { "1", "", kY }, { "2", "", kX } } }, "a record would hold what stood in neither file: 1" },
    { "a category from nowhere", { { { "1", "Work" } } }, { {} }, { { { "1", "Shops" } } },
        "a record would hold what stood in neither file: 1" },
    { "a record from nowhere", { {} }, { {} }, { { { "1" } } }, "a record would hold what stood in neither file: 1" },
    { "two bodies, the first's stays", { { { "1", "", kX } } }, { { { "1", "", kY } } }, { { { "1", "", kX } } }, "" },
    { "a repetition lost", { { { "1", "", kX }, { "1", "", kY } } }, { {} }, { { { "1", "", kX } } },
        "of two records with one identity one would be lost: 1" },
    { "a repetition kept", { { { "1", "", kX }, { "1", "", kY } } }, { {} }, { { { "1", "", kY }, { "1", "", kX } } },
        "" },
    { "a repetition gone by a deletion", { { { "1", "", kX }, { "1", "", kY } } }, { {}, { "1" } }, { {}, { "1" } },
        "" },
};

TEST(SyncProofTest, NamesTheFirstThingThatIsLostOrForeign)
{
    for (const ProofCase& c : kProofs) {
        const VaultContents output = contentsOf(c.output);
        EXPECT_EQ(reasonNotProved(contentsOf(c.first), contentsOf(c.second), { &output }).value_or(""), c.reason)
            << c.name;
    }
}

TEST(SyncProofTest, BothOutputsCount)
{
    const VaultContents first = contentsOf(SketchedVault { { { "1" } } });
    const VaultContents second = contentsOf(SketchedVault { { { "2" } } });
    const VaultContents both = contentsOf(SketchedVault { { { "1" }, { "2" } } });
    EXPECT_EQ(reasonNotProved(first, second, { &both, &first }), "a record would be lost: 2");
    EXPECT_EQ(reasonNotProved(first, second, { &second, &both }), "a record would be lost: 1");
    EXPECT_EQ(reasonNotProved(first, second, { &both, &both }), std::nullopt);
}

/// Every record of every merge is taken away once, and every deletion.
TEST(SyncProofTest, MissesNothingThatIsTakenFromRealMerges)
{
    std::size_t taken = 0;
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        const VaultPair inputs = VaultHistory(seed).pair();
        const VaultContents first = contentsOf(inputs.first);
        const VaultContents second = contentsOf(inputs.second);
        const VaultContents output = contentsOf(merged(inputs).first);
        EXPECT_EQ(reasonNotProved(first, second, { &output }), std::nullopt) << seed;
        for (std::size_t i = 0; i < output.records.size() + output.deletions.size(); ++i, ++taken) {
            VaultContents less = contentsOf(bytesOf(output.bytes()));
            if (i < output.records.size())
                less.records.erase(less.records.begin() + static_cast<std::ptrdiff_t>(i));
            else
                less.deletions.erase(less.deletions.begin() + static_cast<std::ptrdiff_t>(i - output.records.size()));
            EXPECT_NE(reasonNotProved(first, second, { &less }), std::nullopt) << seed << " " << i;
        }
    }
    EXPECT_GT(taken, 100u);
}

TEST(SyncProofTest, OnlyTheDateOfOpeningMayDiffer)
{
    const std::string vault = SketchedVault { { { "1" } } }.bytes();
    const NSData expected = dataOf(vault);
    std::size_t free = 0;
    for (std::size_t i = 318; i < vault.size(); ++i) { // behind the preferences
        std::string changed = vault;
        changed[i] = static_cast<char>(changed[i] ^ 1);
        try {
            EXPECT_FALSE(isSameButForOpenDate(contentsOf(changed), expected)) << i;
        } catch (const NoVault&) {
            continue;
        }
    }
    for (std::size_t i = 276; i < 310; ++i) {
        std::string changed = vault;
        changed[i] = static_cast<char>(changed[i] ^ 4); // versions 4 and 0: one of them is read
        try {
            free += isSameButForOpenDate(contentsOf(changed), expected);
        } catch (const NoVault&) {
            continue;
        }
    }
    EXPECT_EQ(free, 4u);
}

} // namespace
