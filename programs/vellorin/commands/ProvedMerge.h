#pragma once

#include "NSData.h"
#include "VaultContents.h"

/// mergeVaults, and the proof over its bytes that nothing of either side is lost (SyncProof.h).
/// Raises: what mergeVaults raises; CommandFailure (kFailed) for a merge that can't be proved.
NSData provedMerge(const VaultContents& a, const VaultContents& b, const VaultContents* base);
