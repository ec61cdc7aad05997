#include "VaultDifference.h"

#include "LikelyPairs.h"

#include <optional>
#include <unordered_map>

namespace {

/// As much of a record as a look-up goes by; the rest stays empty.
struct RecordKey {
    std::string_view uuid;
    std::string_view category;
    std::string_view body;

    bool operator==(const RecordKey&) const = default;
};

struct RecordKeyHash {
    std::size_t operator()(const RecordKey& key) const { return TextHash::of({ key.uuid, key.category, key.body }); }
};

/// The first record of a vault for each key.
class RecordIndex {
public:
    explicit RecordIndex(const std::vector<VaultRecord>& records)
    {
        for (uint32_t i = 0; i < records.size(); ++i) {
            const VaultRecord& record = records[i];
            byUuid_.try_emplace({ record.uuid, {}, {} }, i);
            byCategory_.try_emplace({ record.uuid, record.category, {} }, i);
            byBody_.try_emplace({ record.uuid, record.category, record.body }, i);
        }
    }

    std::optional<uint32_t> sameUuid(const VaultRecord& like) const { return in(byUuid_, { like.uuid, {}, {} }); }

    std::optional<uint32_t> sameCategory(const VaultRecord& like) const
    {
        return in(byCategory_, { like.uuid, like.category, {} });
    }

    std::optional<uint32_t> sameBody(const VaultRecord& like) const
    {
        return in(byBody_, { like.uuid, like.category, like.body });
    }

private:
    using Map = std::unordered_map<RecordKey, uint32_t, RecordKeyHash>;

    static std::optional<uint32_t> in(const Map& map, const RecordKey& key)
    {
        const auto found = map.find(key);
        return found != map.end() ? std::optional(found->second) : std::nullopt;
    }

    Map byUuid_;
    Map byCategory_;
    Map byBody_;
};

class Comparison {
public:
    Comparison(const VaultContents& a, const VaultContents& b)
        : a_(a)
        , b_(b)
        , indexOfA_(a.records)
        , indexOfB_(b.records)
        , deletionsOfA_(a.deletions)
        , deletionsOfB_(b.deletions)
        , isTold_(b.records.size())
    {
    }

    VaultDifference difference()
    {
        for (uint32_t i = 0; i < a_.records.size(); ++i)
            compareFromA(i);
        for (uint32_t i = 0; i < b_.records.size(); ++i)
            compareFromB(i);
        for (const std::string& uuid : deletionsOfA_.uuids())
            result_.deletionsOnlyInA += deletionsOfB_.uuids().contains(uuid) ? 0 : 1;
        for (const std::string& uuid : deletionsOfB_.uuids())
            result_.deletionsOnlyInB += deletionsOfA_.uuids().contains(uuid) ? 0 : 1;
        result_.likelyPairs = likelyPairsOf(a_, result_.newInA, b_, result_.newInB);
        result_.inStep = result_.newInA.empty() && result_.newInB.empty() && result_.goFromA() == 0
            && result_.goFromB() == 0 && result_.otherCategory.empty() && result_.deletionsOnlyInA == 0
            && result_.deletionsOnlyInB == 0;
        return std::move(result_);
    }

private:
    void compareFromA(uint32_t i)
    {
        const VaultRecord& record = a_.records[i];
        const std::optional<uint32_t> uuid = indexOfB_.sameUuid(record);
        const std::optional<uint32_t> category = indexOfB_.sameCategory(record);
        if (!uuid)
            listOf({ result_.deletedByB, result_.selfDeletedInA, result_.newInA }, deletionsOfB_, deletionsOfA_, record)
                .push_back(i);
        else if (indexOfB_.sameBody(record))
            result_.same += indexOfA_.sameBody(record) == i ? 1 : 0;
        else if (category)
            tell(result_.otherBody, i, *category);
        else
            tell(result_.otherCategory, i, *uuid);
    }

    /// What the walk over A has told is not told again.
    void compareFromB(uint32_t i)
    {
        const VaultRecord& record = b_.records[i];
        const std::optional<uint32_t> uuid = indexOfA_.sameUuid(record);
        const std::optional<uint32_t> category = indexOfA_.sameCategory(record);
        if (!uuid)
            listOf({ result_.deletedByA, result_.selfDeletedInB, result_.newInB }, deletionsOfA_, deletionsOfB_, record)
                .push_back(i);
        else if (!isTold_[i] && !indexOfA_.sameBody(record))
            tell(category ? result_.otherBody : result_.otherCategory, category ? *category : *uuid, i);
    }

    /// Where a record is listed that the other side doesn't have.
    struct ListsOfLone {
        std::vector<uint32_t>& deletedThere;
        std::vector<uint32_t>& deletedHere;
        std::vector<uint32_t>& isNew;
    };

    static std::vector<uint32_t>& listOf(
        const ListsOfLone& lists, const DeletionSet& there, const DeletionSet& here, const VaultRecord& record)
    {
        if (there.names(record.uuid))
            return lists.deletedThere;
        return here.names(record.uuid) ? lists.deletedHere : lists.isNew;
    }

    void tell(std::vector<VaultDifference::Match>& list, uint32_t ofA, uint32_t ofB)
    {
        list.push_back({ ofA, ofB });
        isTold_[ofB] = true;
    }

    const VaultContents& a_;
    const VaultContents& b_;
    const RecordIndex indexOfA_;
    const RecordIndex indexOfB_;
    const DeletionSet deletionsOfA_;
    const DeletionSet deletionsOfB_;
    std::vector<bool> isTold_; // of B
    VaultDifference result_;
};

} // namespace

DeletionSet::DeletionSet(const std::vector<VaultDeletion>& deletions)
{
    for (const VaultDeletion& deletion : deletions)
        uuids_.insert(folded(deletion.uuid));
}

std::string DeletionSet::folded(std::string_view uuid)
{
    std::string result(uuid);
    for (char& c : result)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return result;
}

VaultDifference differenceOf(const VaultContents& a, const VaultContents& b)
{
    return Comparison(a, b).difference();
}
