#pragma once

#include "TextHash.h"
#include "VaultContents.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

class RecordIndex;

/// What two vaults have and lack of each other, by record. Indices are those of `records` in each vault's contents.
///
/// UUIDs of records are equal as bytes; a deletion names a record whose UUID is equal but for the case of ASCII
/// letters. (A merge also takes texts for equal that are so by Unicode's rules alone. Programs write UUIDs in ASCII.)
struct VaultDifference {
    /// Two new records, one on each side, that are most likely two versions of one: their cipher texts begin with the
    /// same blocks, three or more, so the first 20 letters of title, address and user name are the same.
    struct LikelyPair {
        uint32_t a = 0;
        uint32_t b = 0;
        uint32_t equalBlocks = 0; // of 8 bytes, from the start
    };

    /// One UUID on both sides.
    struct Match {
        uint32_t a = 0;
        uint32_t b = 0;
    };

    std::vector<uint32_t> newInA; // B doesn't have the record, and no deletion names it: goes from A to B
    std::vector<uint32_t> newInB;
    std::vector<uint32_t> deletedByB; // in A, and B has deleted it: goes from A
    std::vector<uint32_t> deletedByA;
    std::vector<uint32_t> selfDeletedInA; // in A alone, and named by A's own deletions, not by B's: goes from A as well
    std::vector<uint32_t> selfDeletedInB;
    std::vector<Match> otherCategory; // stay, twice on both sides; each record without its like stands in one
    std::vector<Match> otherBody; // same UUID and category; each side keeps its own
    std::vector<LikelyPair> likelyPairs; // among newInA and newInB; no record stands in two of them
    uint32_t same = 0; // records with the same UUID, category and body on both sides; a repetition counts once
    uint32_t deletionsOnlyInA = 0;
    uint32_t deletionsOnlyInB = 0;

    /// Records that a merge takes from A, since either side's deletions count for both.
    std::size_t goFromA() const { return deletedByB.size() + selfDeletedInA.size(); }
    std::size_t goFromB() const { return deletedByA.size() + selfDeletedInB.size(); }

    /// A merge would change no record and no deletion: both hold the same UUIDs in the same categories, and the same
    /// deletions. Bodies may differ.
    bool inStep = false;

    bool repeatsUuid = false; // a UUID stands more than once on a side
};

/// Cost: linear in the records and deletions but for the pairs, which are sorted.
VaultDifference differenceOf(const VaultContents& a, const VaultContents& b);

/// The same for who has indices of their records.
VaultDifference differenceOf(
    const VaultContents& a, const RecordIndex& indexOfA, const VaultContents& b, const RecordIndex& indexOfB);

/// Answers in constant time whether a list of deletions names a UUID, whatever a hostile file lists.
class DeletionSet {
public:
    explicit DeletionSet(const std::vector<VaultDeletion>& deletions);

    bool names(std::string_view uuid) const { return uuids_.contains(folded(uuid)); }

    /// Each as it is compared, once.
    const std::unordered_set<std::string, TextHash>& uuids() const { return uuids_; }

    /// A UUID as it is compared: without the case of ASCII letters.
    static std::string folded(std::string_view uuid);

private:
    std::unordered_set<std::string, TextHash> uuids_;
};
