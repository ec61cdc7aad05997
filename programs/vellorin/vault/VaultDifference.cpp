#include "VaultDifference.h"

#include "LikelyPairs.h"
#include "RecordIndex.h"

#include <optional>

namespace {

class Comparison {
public:
    Comparison(const VaultContents& a, const RecordIndex& indexOfA, const VaultContents& b, const RecordIndex& indexOfB)
        : a_(a)
        , b_(b)
        , indexOfA_(indexOfA)
        , indexOfB_(indexOfB)
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
        result_.repeatsUuid = indexOfA_.repeatsUuid() || indexOfB_.repeatsUuid();
        return std::move(result_);
    }

private:
    void compareFromA(uint32_t i)
    {
        const RecordIndex::Sought sought = indexOfA_.at(i);
        if (indexOfB_.sameBody(sought))
            result_.same += indexOfA_.sameBody(sought) == i ? 1 : 0;
        else if (const std::optional<uint32_t> category = indexOfB_.sameCategory(sought))
            tell(result_.otherBody, i, *category);
        else if (const std::optional<uint32_t> uuid = indexOfB_.sameUuid(sought))
            tell(result_.otherCategory, i, *uuid);
        else
            listOf({ result_.deletedByB, result_.selfDeletedInA, result_.newInA }, deletionsOfB_, deletionsOfA_,
                sought.record)
                .push_back(i);
    }

    /// What the walk over A has told is not told again.
    void compareFromB(uint32_t i)
    {
        const RecordIndex::Sought sought = indexOfB_.at(i);
        if (isTold_[i] || indexOfA_.sameBody(sought))
            return;
        if (const std::optional<uint32_t> category = indexOfA_.sameCategory(sought))
            tell(result_.otherBody, *category, i);
        else if (const std::optional<uint32_t> uuid = indexOfA_.sameUuid(sought))
            tell(result_.otherCategory, *uuid, i);
        else
            listOf({ result_.deletedByA, result_.selfDeletedInB, result_.newInB }, deletionsOfA_, deletionsOfB_,
                sought.record)
                .push_back(i);
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
    const RecordIndex& indexOfA_;
    const RecordIndex& indexOfB_;
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
    return differenceOf(a, RecordIndex(a.records), b, RecordIndex(b.records));
}

VaultDifference differenceOf(
    const VaultContents& a, const RecordIndex& indexOfA, const VaultContents& b, const RecordIndex& indexOfB)
{
    return Comparison(a, indexOfA, b, indexOfB).difference();
}
