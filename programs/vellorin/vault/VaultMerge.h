#pragma once

#include "NSData.h"
#include "VaultContents.h"

#include <vector>

/// The merge of two vaults as one new vault, in memory, by the document core.
///
/// The result doesn't depend on which side is which: `merge(a, b)` and `merge(b, a)` are the same bytes, and so is
/// every repetition, on each machine. It has the identity that both have; if they differ, that of the base, else the
/// smaller. Where both sides have a record with one UUID and one category but different bodies (a date of last use),
/// the side that differs from the base wins, else the greater bytes; preferences and the partner likewise. The date of
/// opening is the later of both. What stands several times on one side, in different versions, stays so; equal
/// repetitions stay once. What VaultContents calls damage is not carried over: ask objectionToDamage first.
/// Raises: CommandFailure with kRefused for different master passwords, and with kFailed for what the core can't merge
/// or write, with its report in words.
NSData mergeVaults(const VaultContents& a, const VaultContents& b, const VaultContents* base = nullptr);

/// What is whole of a damaged vault, as a new vault with the same identity, records in their order, deletions and
/// preferences as they stood. `lost` gets the damage that could not be taken over. Other formats are taken over as they
/// stand, since the program that knows the password can still read them there: such records keep their block's bytes,
/// and are the only damage that is left.
NSData repairedVault(const VaultContents& vault, std::vector<VaultDamage>& lost);
