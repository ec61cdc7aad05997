#include "VaultDifference.h"

#include "VaultBytes.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

/// In short: "A+0 B-2 cat 1/0", each with the indices of records.
std::string told(const VaultDifference& difference)
{
    std::string result;
    const auto add = [&](const std::string& what) { result += (result.empty() ? "" : " ") + what; };
    for (const uint32_t i : difference.newInA)
        add("A+" + std::to_string(i));
    for (const uint32_t i : difference.newInB)
        add("B+" + std::to_string(i));
    for (const uint32_t i : difference.deletedByB)
        add("A-" + std::to_string(i));
    for (const uint32_t i : difference.deletedByA)
        add("B-" + std::to_string(i));
    for (const uint32_t i : difference.selfDeletedInA)
        add("A--" + std::to_string(i));
    for (const uint32_t i : difference.selfDeletedInB)
        add("B--" + std::to_string(i));
    for (const auto& match : difference.otherCategory)
        add("category" + std::to_string(match.a) + "/" + std::to_string(match.b));
    for (const auto& match : difference.otherBody)
        add("body" + std::to_string(match.a) + "/" + std::to_string(match.b));
    for (const auto& pair : difference.likelyPairs)
        add("pair" + std::to_string(pair.a) + "/" + std::to_string(pair.b) + "x" + std::to_string(pair.equalBlocks));
    if (difference.deletionsOnlyInA + difference.deletionsOnlyInB > 0)
        add("deletions" + std::to_string(difference.deletionsOnlyInA) + "/"
            + std::to_string(difference.deletionsOnlyInB));
    add("same" + std::to_string(difference.same));
    return result + (difference.inStep ? " in step" : "");
}

struct DifferenceCase {
    const char* name;
    SketchedVault a;
    SketchedVault b;
    const char* told;
};

const std::string kX(24, 'X'); // three blocks
const std::string kY(24, 'Y'); // three blocks
const std::string kZ(24, 'Z'); // three blocks

const DifferenceCase kDifferences[] = {
    { "nothing at all", { {} }, { {} }, "same0 in step" },
    { "another order", { { { "1" }, { "2" } } }, { { { "2" }, { "1" } } }, "same2 in step" },
    { "identities don't count", { { { "1" } }, {}, "I", "J" }, { { { "1" } }, {}, "J", "I" }, "same1 in step" },
    { "new on either side", { { { "1", "", kX } } }, { { { "2", "", kY } } }, "A+0 B+0 same0" },
    { "deleted by B", { { { "ab" }, { "2" } } }, { { { "2" } }, { "AB" } }, "A-0 deletions0/1 same1" },
    { "deleted by A", { {}, { "1" } }, { { { "1" } } }, "B-0 deletions1/0 same0" },
    { "deleted by its own list", { { { "ab" }, { "2" } }, { "AB" } }, { { { "3" } }, { "3", "4" } },
        "A+1 A--0 B--0 deletions1/2 same0" },
    { "deleted by both lists", { { { "1" } }, { "1" } }, { {}, { "1" } }, "A-0 same0" },
    { "a record beats a deletion of it", { { { "1" } } }, { { { "1" } }, { "1" } }, "deletions0/1 same1" },
    { "deletions in another case", { {}, { "ab", "c" } }, { {}, { "C", "AB", "Ab" } }, "same0 in step" },
    { "another category", { { { "1", "x" } } }, { { { "1", "y" } } }, "category0/0 same0" },
    { "another body", { { { "1", "x", kX } } }, { { { "1", "x", kY } } }, "body0/0 same0 in step" },
    { "twice there", { { { "1", "x" } } }, { { { "1", "x" }, { "1", "y" } } }, "category0/1 same1" },
    { "twice here, in another order", { { { "1", "y" }, { "1", "x" } } }, { { { "1", "x" }, { "1", "y" } } },
        "same2 in step" },
    { "the like twice", { { { "1" }, { "1" } } }, { { { "1" } } }, "same1 in step" },
    { "one more body there", { { { "1", "", kX } } }, { { { "1", "", kX }, { "1", "", kY } } },
        "body0/1 same1 in step" },
    { "UUIDs in another case are others", { { { "a", "", kX } } }, { { { "A", "", kY } } }, "A+0 B+0 same0" },
    { "the longer agreement makes the pair", { { { "1", "", kX + kY + kZ }, { "2", "", kX + kX } } },
        { { { "3", "", kX + kY + kY }, { "4", "", kX } } }, "A+0 A+1 B+0 B+1 pair0/0x6 pair1/1x3 same0" },
    { "two blocks and a part of one make none", { { { "1", "", kX.substr(0, 23) + "A" } } }, { { { "2", "", kX } } },
        "A+0 B+0 same0" },
    { "as many pairs as there are", { { { "1", "", kX + "A" }, { "2", "", kX + "B" } } },
        { { { "3", "", kX + "C" }, { "4", "", kX + "D" } } }, "A+0 A+1 B+0 B+1 pair0/1x3 pair1/0x3 same0" },
    { "each record in one pair", { { { "1", "", kX + kY } } }, { { { "2", "", kX + kY }, { "3", "", kX + kY } } },
        "A+0 B+0 B+1 pair0/0x6 same0" },
};

TEST(VaultDifferenceTest, TellsWhatEachSideHasAndLacks)
{
    for (const DifferenceCase& c : kDifferences)
        EXPECT_EQ(told(differenceOf(contentsOf(c.a), contentsOf(c.b))), c.told) << c.name;
}

TEST(VaultDifferenceTest, AlikeRecordsDontCostTheirSquare)
{
    SketchedVault a;
    SketchedVault b;
    for (int i = 0; i < 20000; ++i) {
        a.records.push_back({ "same", std::to_string(i), kX });
        b.records.push_back({ "same", std::to_string(i + 10000), kX });
        a.records.push_back({ "A" + std::to_string(i), "", kX + kX });
        b.records.push_back({ "B" + std::to_string(i), "", kX + kX });
    }
    const auto start = std::chrono::steady_clock::now();
    const VaultDifference difference = differenceOf(contentsOf(a), contentsOf(b));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(difference.likelyPairs.size(), 20000u);
    EXPECT_EQ(difference.same, 10000u);
    EXPECT_EQ(difference.otherCategory.size(), 20000u);
}

} // namespace
