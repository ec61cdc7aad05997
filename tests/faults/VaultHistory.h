#pragma once

#include "VLR_Document.h"

#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>

// Vaults as bytes, and what people and runs do to them. All vaults have one master password.

/// What a synchronisation is about, without identities and dates of files.
struct VaultState {
    std::multiset<std::string> records; // UUID, category and cipher text
    std::set<std::string> deletions; // UUIDs

    bool operator==(const VaultState&) const = default;
    std::set<std::string> UUIDs() const;
};

/// Fails the test that calls it, and answers an empty state, unless the vault is whole and readable.
VaultState stateOf(const std::string& vault);
bool isWhole(const std::string& vault);

/// A vault that is open with its password.
class OpenVault {
public:
    OpenVault();
    explicit OpenVault(const std::string& vault);

    uint32_t count() const { return document.recordList.Count(); }
    std::string UUID(uint32_t index) const;
    void add(const std::string& uuid, const std::string& title);

    /// An edit by the setters; the new version gets `newUUID`. Answers the UUID that ends.
    std::string edit(uint32_t index, const std::string& newTitle, const std::string& newUUID);

    /// Answers the UUID that ends.
    std::string remove(uint32_t index);
    std::string bytes();

private:
    VLR_Document document { VLR_DocumentReadDecrypted };
};

using VaultPair = std::pair<std::string, std::string>;

/// Both vaults after the merge engine has worked on them, read and written without the password, and its counters.
struct MergedPair {
    VaultPair vaults;
    uint32_t identical = 0;
    uint32_t duplicated = 0;
};

MergedPair mergeOf(const VaultPair& vaults);

/// The vaults alone.
VaultPair merged(const VaultPair& vaults);

/// A random past: a common beginning, then edits, deletions and additions on either side, and now and then a
/// synchronisation of both. The same seed gives the same past.
class VaultHistory {
public:
    explicit VaultHistory(uint64_t seed)
        : random(seed)
    {
    }

    /// A pair of vaults that have come apart; never equal ones.
    VaultPair pair();

    /// One change of one vault.
    std::string changed(const std::string& vault);
    std::string freshUUID();
    std::size_t below(std::size_t bound) { return random() % bound; }

private:
    std::mt19937_64 random;
};
