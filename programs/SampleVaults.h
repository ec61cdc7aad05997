#pragma once

#include "VLR_Document.h"

#include <cstdint>
#include <functional>
#include <memory>

/// Two vaults that began as copies of each other and have come apart since.
struct SampleVaults {
    std::unique_ptr<VLR_Document> first;
    std::unique_ptr<VLR_Document> second;
};

/// The master password of all samples.
VLR_String sampleMasterPassword();

/// A small pair, with a record for every way in which two copies of a vault can come apart.
SampleVaults makeSmallPair();

/// `count` records on each side, of about 400 bytes each in the file. 98 of 100 are the same on both sides, one was
/// edited on the first side, one on the second. The same seed makes the same records. `madeOne` is called for each.
SampleVaults makeLargePair(
    uint32_t count, uint64_t seed, const std::function<void()>& madeOne = [] {});
