#include "VaultObjections.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::size_t kRemovalsWithoutQuestion = 10;
constexpr std::size_t kNamedPlaces = 5;

/// Identities that this vault has or has had to do with.
bool haveIdentityInCommon(const VaultContents& a, const VaultContents& b)
{
    const std::array ofB { b.identity, b.partner };
    return std::any_of(ofB.begin(), ofB.end(), [&](std::string_view identity) {
        return !identity.empty() && (identity == a.identity || identity == a.partner);
    });
}

bool haveUuidInCommon(const VaultContents& a, const VaultDifference& difference)
{
    return difference.same > 0 || !difference.otherCategory.empty() || !difference.otherBody.empty()
        || !difference.deletedByA.empty() || !difference.deletedByB.empty()
        || DeletionSet(a.deletions).uuids().size() > difference.deletionsOnlyInA;
}

std::string placesOf(const std::vector<VaultDamage>& damage)
{
    std::string places;
    for (std::size_t i = 0; i < std::min(damage.size(), kNamedPlaces); ++i)
        places += (i > 0 ? "; " : "") + describe(damage[i].kind) + " at byte " + std::to_string(damage[i].offset);
    return damage.size() > kNamedPlaces ? places + "; and more" : places;
}

} // namespace

std::optional<std::string> objectionToMasters(const NamedVault& a, const NamedVault& b)
{
    if (a.contents.referenceBuffer == b.contents.referenceBuffer)
        return std::nullopt;
    return a.path + " and " + b.path + ": the master passwords differ";
}

std::optional<std::string> objectionToDamage(const NamedVault& vault)
{
    if (vault.contents.damage.empty())
        return std::nullopt;
    const std::size_t count = vault.contents.damage.size();
    return vault.path + ": has " + std::to_string(count) + (count == 1 ? " damaged place: " : " damaged places: ")
        + placesOf(vault.contents.damage);
}

std::optional<std::string> objectionToUnrelated(
    const NamedVault& a, const NamedVault& b, const VaultDifference& difference)
{
    if (a.contents.records.empty() || b.contents.records.empty() || haveIdentityInCommon(a.contents, b.contents)
        || haveUuidInCommon(a.contents, difference))
        return std::nullopt;
    return a.path + " and " + b.path + ": the vaults have no record, no deletion and no identity in common";
}

std::optional<std::string> objectionToRemovals(
    const NamedVault& vault, std::size_t removals, std::size_t selfDeleted, const NamedVault& other)
{
    const std::size_t records = vault.contents.records.size();
    if (removals <= kRemovalsWithoutQuestion || removals <= records / 4)
        return std::nullopt;
    return vault.path + ": would lose " + std::to_string(removals) + " of " + std::to_string(records)
        + " records, because " + other.path + " has deleted them"
        + (selfDeleted > 0 ? ", or it lists them as deleted itself" : "");
}
