#pragma once

#include "VaultDifference.h"

#include <cstdint>
#include <vector>

/// The pairs of records, one of each list of indices, whose bodies begin with the most equal cipher blocks, three at
/// least; no record stands in two pairs. In the order of A's records.
/// Cost: that of sorting the bodies.
std::vector<VaultDifference::LikelyPair> likelyPairsOf(const VaultContents& a, const std::vector<uint32_t>& fromA,
    const VaultContents& b, const std::vector<uint32_t>& fromB);
