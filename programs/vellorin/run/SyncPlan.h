#pragma once

#include "NSData.h"
#include "VaultContents.h"
#include "VaultDifference.h"

#include <string>
#include <vector>

/// One side of a plan: the file as it was read.
struct PlannedFile {
    PlannedFile(std::string path, NSData bytes);

    std::string path; // as the user gave it
    VaultContents contents;
    std::string hash;
};

/// What a synchronisation of two files would do, without doing any of it.
struct SyncPlan {
    PlannedFile first;
    PlannedFile second;
    VaultDifference difference;

    /// What the document core makes of both in memory: the bytes that a run would write, but for the date of opening.
    NSData mergedFirst;
    NSData mergedSecond;

    bool inStep() const { return difference.inStep; }

    /// "3 records go from laptop.vlr to nas.vlr", ...: one sentence for each kind of change that there is, naming direction
    /// and file. Empty when in step. File names are as short as they can be while they differ.
    std::vector<std::string> sentences() const;
};

/// Reads both files and merges them in memory; locks nothing, writes nothing, tells nobody.
/// Raises: CommandFailure: kRefused for one file twice and for different master passwords, kFailed for what can't be read,
/// is no vault or can't be merged.
SyncPlan planFor(const std::string& first, const std::string& second);
