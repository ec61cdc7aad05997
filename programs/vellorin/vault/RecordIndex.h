#pragma once

#include "VaultContents.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

/// The records of a vault, found by UUID, by UUID and category, and by these and the body.
///
/// Texts are equal as bytes. Of several records that are alike the first is found. Cost: linear in the bytes, also for a
/// hostile file; memory for a hash and a place or two of each record. A body is hashed only if its record's UUID stands
/// in the vault before.
class RecordIndex {
public:
    /// A record to look for, here or elsewhere, with the hash of its UUID.
    struct Sought {
        const VaultRecord& record;
        std::size_t hash;
    };

    static Sought sought(const VaultRecord& record);

    /// The records stay where they are as long as the index is used.
    explicit RecordIndex(const std::vector<VaultRecord>& records);

    std::size_t count() const { return records_.size(); }
    Sought at(uint32_t i) const { return { records_[i], hashes_[i] }; }

    std::optional<uint32_t> sameUuid(const Sought& like) const;
    std::optional<uint32_t> sameCategory(const Sought& like) const;
    std::optional<uint32_t> sameBody(const Sought& like) const;

    /// Some UUID stands more than once.
    bool repeatsUuid() const { return !repetitionsByCategory_.empty(); }

private:
    /// As much of a record as a repetition is looked up by; the rest stays empty.
    struct Key {
        std::string_view uuid;
        std::string_view category;
        std::string_view body;

        bool operator==(const Key&) const = default;
    };

    struct KeyHash {
        std::size_t operator()(const Key& key) const;
    };

    using Repetitions = std::unordered_map<Key, uint32_t, KeyHash>;

    static std::optional<uint32_t> in(const Repetitions& repetitions, const Key& key);
    std::size_t slotOf(const Sought& like) const;
    void addRepetition(uint32_t i);

    const std::vector<VaultRecord>& records_;
    std::vector<std::size_t> hashes_; // of the UUIDs
    std::vector<uint32_t> slots_; // a power of two of them, half of them free; the first record of each UUID
    Repetitions repetitionsByCategory_; // records whose UUID stands before them, the first of each kind
    Repetitions repetitionsByBody_;
};
