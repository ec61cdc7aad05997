#include "RecordIndex.h"

#include "TextHash.h"

#include <bit>

namespace {

constexpr uint32_t kFree = UINT32_MAX;

} // namespace

std::size_t RecordIndex::KeyHash::operator()(const Key& key) const
{
    return TextHash::of({ key.uuid, key.category, key.body });
}

RecordIndex::Sought RecordIndex::sought(const VaultRecord& record)
{
    return { record, TextHash()(record.uuid) };
}

RecordIndex::RecordIndex(const std::vector<VaultRecord>& records)
    : records_(records)
    , slots_(std::bit_ceil(2 * records.size() + 1), kFree)
{
    hashes_.reserve(records.size());
    for (uint32_t i = 0; i < records.size(); ++i) {
        hashes_.push_back(sought(records[i]).hash);
        uint32_t& slot = slots_[slotOf(at(i))];
        if (slot == kFree)
            slot = i;
        else
            addRepetition(i);
    }
}

void RecordIndex::addRepetition(uint32_t i)
{
    const VaultRecord& record = records_[i];
    repetitionsByCategory_.try_emplace({ record.uuid, record.category, {} }, i);
    repetitionsByBody_.try_emplace({ record.uuid, record.category, record.body }, i);
}

/// Where the first record with this UUID is noted, or the free slot where it would be.
std::size_t RecordIndex::slotOf(const Sought& like) const
{
    std::size_t slot = like.hash & (slots_.size() - 1);
    while (slots_[slot] != kFree
        && (hashes_[slots_[slot]] != like.hash || records_[slots_[slot]].uuid != like.record.uuid))
        slot = (slot + 1) & (slots_.size() - 1);
    return slot;
}

std::optional<uint32_t> RecordIndex::sameUuid(const Sought& like) const
{
    const uint32_t found = slots_[slotOf(like)];
    return found != kFree ? std::optional(found) : std::nullopt;
}

std::optional<uint32_t> RecordIndex::sameCategory(const Sought& like) const
{
    const std::optional<uint32_t> first = sameUuid(like);
    if (!first || records_[*first].category == like.record.category)
        return first;
    return in(repetitionsByCategory_, { like.record.uuid, like.record.category, {} });
}

std::optional<uint32_t> RecordIndex::sameBody(const Sought& like) const
{
    const std::optional<uint32_t> first = sameUuid(like);
    if (!first || (records_[*first].category == like.record.category && records_[*first].body == like.record.body))
        return first;
    return in(repetitionsByBody_, { like.record.uuid, like.record.category, like.record.body });
}

std::optional<uint32_t> RecordIndex::in(const Repetitions& repetitions, const Key& key)
{
    if (repetitions.empty()) // as a rule: then no body is hashed
        return std::nullopt;
    const auto found = repetitions.find(key);
    return found != repetitions.end() ? std::optional(found->second) : std::nullopt;
}
