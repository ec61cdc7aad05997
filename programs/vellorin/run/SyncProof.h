#pragma once

#include "VaultContents.h"

#include <optional>
#include <string>
#include <vector>

/// Whether outputs of a merge hold all that their inputs held, by their bytes and apart from the code that merged.
///
/// - Each UUID of either input's records is on each output, or each output has a deletion that names it.
/// - Each deletion of either input is on each output, and no other: it could excuse a loss.
/// - Each record of an output stands, with its category and body, in an input.
/// - No UUID that stood twice in an input with different bodies has lost one of them: each of its bodies is on an
/// output,
///   or a deletion has taken them all.
/// Answers the first thing that doesn't hold, in words with its UUID; absent if all holds. One output or two.
std::optional<std::string> reasonNotProved(const VaultContents& firstInput, const VaultContents& secondInput,
    const std::vector<const VaultContents*>& outputs);

/// Whether a vault is the expected one in every byte but those of its date of opening, which is that of its writing.
bool isSameButForOpenDate(const VaultContents& vault, const NSData& expected);
