#pragma once

#include "JournalEntry.h"
#include "VaultHistory.h"

#include <map>
#include <string>
#include <vector>

// What a run leaves beside its two vaults: backups and the journal's entry. Files are given by path, and folders with a
// slash behind theirs, as in FileSystemInMemory::Tree.

/// Two vaults of a run, where they lie, and what an undisturbed run makes of them.
struct VaultsOfRun {
    VaultsOfRun(uint64_t seed, std::string folderOfVaults, std::string folderOfJournal);

    std::string first() const { return folder + "/a.vlr"; }
    std::string second() const { return folder + "/b.vlr"; }

    bool isFirstNew(const std::string& bytes) const { return isNew(bytes, after.first); }
    bool isSecondNew(const std::string& bytes) const { return isNew(bytes, after.second); }

    const std::string folder;
    const std::string journal;
    const VaultPair before;
    const VaultPair after;

private:
    static bool isNew(const std::string& bytes, const std::string& expected)
    {
        return isWhole(bytes) && stateOf(bytes) == stateOf(expected);
    }
};

using TracesTree = std::map<std::string, std::string>;

/// How many of the two files are new.
enum class Written {
    None,
    Any,
    Both
};

/// What is wrong with what a run has left, or nothing: each vault is old or new and whole, as many are new as `written`
/// says, what has a backup's name holds all bytes of its vault, what has an entry's name can be read, an entry's backups
/// are there, and where a vault is new there is an entry by which it can be taken back.
std::string faultIn(const TracesTree& tree, const VaultsOfRun& vaults, Written written);

/// The paths beside the vaults that are neither these nor backups: locks, temporary files.
std::vector<std::string> leftBeside(const TracesTree& tree, const VaultsOfRun& vaults);

/// The paths of backups, and of the journal's entries.
std::vector<std::string> backupsIn(const TracesTree& tree, const VaultsOfRun& vaults);
std::vector<std::string> entriesIn(const TracesTree& tree, const VaultsOfRun& vaults);
