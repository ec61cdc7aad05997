#pragma once

#include "VLR_Document.h"

#include <string>

// What vaults and records that were read must have in common.

/// The master password of the golden vaults, and of all seeds.
inline constexpr char kFuzzPassword[] = "open sesame";

/// The cipher with that password's key.
const VLR_BlowFish& fuzzFish();

/// All that stands in the clear in a record's block.
void expectSameClearPart(const VLR_PasswordData& a, const VLR_PasswordData& b);

/// All that a record which was written and read again has kept. The browser counts only if there was one: without it
/// the first further growth item is taken for the browser.
void expectKept(const VLR_PasswordData& before, const VLR_PasswordData& after);

/// Preferences, identities and deletions.
void expectSameHeader(const VLR_Document& a, const VLR_Document& b);

/// Writes the document and reads it again to the same, without damage; what was written and read once is written again
/// to the same bytes. A document that keeps its records encrypted may refuse to write, but only for a record without
/// cipher text or for want of a reference buffer.
void expectSurvivesWriting(VLR_Document& document);
