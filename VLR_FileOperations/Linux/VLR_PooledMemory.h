#pragma once

#include "VLR_RawMemory.h"

/// A source of guarded allocations for a program that makes very many and ends soon: small ones of one size are cut
/// from ever larger stretches, in the end large pages, and are used again for the same size; large ones have pages of
/// their own.
///
/// The pages of small allocations stay with the process. One thread, as in all of the core. Put it in place with
/// VLR_SetRawMemory before the first allocation.
VLR_RawMemory VLR_PooledMemory();
