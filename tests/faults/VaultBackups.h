#pragma once

#include "VaultHistory.h"

#include <map>
#include <string>

class ScratchFolder;

// The vaults a.vlr and b.vlr of a folder, and their numbered backups.

/// The files by name, and the folders with a slash behind theirs.
using Files = std::map<std::string, std::string>;

Files filesIn(const ScratchFolder& folder);

/// The same vaults with bytes in them that a read skips, so that each is backed up before it is replaced.
VaultPair withUncarriedBytes(const VaultPair& vaults);

bool isBackup(const std::string& name);

/// Fails the test unless each backup holds all bytes of its vault in `old`, and, if `mustBeThere`, each vault that was
/// replaced has one. Without `isBackedUp` there may be none.
void expectBackups(const Files& files, const VaultPair& old, bool isBackedUp, bool mustBeThere);
