#pragma once

#include "VaultContents.h"
#include "VaultDifference.h"

#include <cstddef>
#include <optional>
#include <string>

// Reasons not to merge two vaults without being told to, one for each guard, whoever merges. Each answers in words with
// the paths as the user knows them ("...: ..."), or nothing if there is none.

/// A vault and the path that the user gave for it.
struct NamedVault {
    std::string path;
    const VaultContents& contents;
};

/// The reference buffers differ, so no merge can be made at all.
std::optional<std::string> objectionToMasters(const NamedVault& a, const NamedVault& b);

/// There is damage, which would be lost: the first places are named.
std::optional<std::string> objectionToDamage(const NamedVault& vault);

/// Both have records, and no UUID of a record or deletion and no identity in common.
std::optional<std::string> objectionToUnrelated(
    const NamedVault& a, const NamedVault& b, const VaultDifference& difference);

/// More than 10 records, and more than a quarter of the vault's, would be removed from it because deletions name them:
/// those of the other side, or of its own for `selfDeleted` of them.
std::optional<std::string> objectionToRemovals(
    const NamedVault& vault, std::size_t removals, std::size_t selfDeleted, const NamedVault& other);
