#pragma once

#include "NSData.h"
#include "VLR_GatheringStream.h"
#include "VaultContents.h"
#include "VaultDifference.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What the document core makes of a file in memory: the bytes that a run would write, but for the date of opening.
/// Nearly all of them stand in the two files of the plan, and are borrowed from there.
struct MergedFile {
    /// In pieces, which live as long as the plan.
    NSData bytes() const;

    std::unique_ptr<const VLR_GatheringStream> pieces;
    std::size_t records = 0;
    std::size_t deletions = 0;
};

/// One side of a plan: the file as it was read, and what a merge makes of it.
struct PlannedFile {
    /// Raises: CommandFailure (kFailed), with the path, if the bytes are no vault.
    PlannedFile(std::string path, NSData bytes);

    const NSData& bytes() const { return contents.bytes(); }

    /// hashOf its bytes, which is reckoned when it is first asked for.
    const std::string& hash() const;

    std::string path; // as the user gave it
    VaultContents contents;
    bool isOnDisk = true; // false for what an earlier run of the command would make of it

    std::optional<MergedFile> merged; // absent where it goes without saying that nothing would change
    std::vector<std::string> added; // UUIDs, one for each record that comes
    std::vector<std::string> removed;

private:
    mutable std::string hash_;
};

/// What a synchronisation of two files would do, without doing any of it.
struct SyncPlan {
    /// Merges in memory, unless the files are whole and in step, and no UUID is repeated: then the core's counters are
    /// known. Raises: CommandFailure: kRefused for different master passwords, kFailed for what can't be merged.
    SyncPlan(PlannedFile firstFile, PlannedFile secondFile);

    PlannedFile first;
    PlannedFile second;
    VaultDifference difference;
    uint32_t identical = 0; // as the document core counts them
    uint32_t duplicated = 0;

    bool inStep() const { return difference.inStep; }

    /// The second file has no record, deletion or removal for the first.
    bool firstStaysAsItIs() const;

    /// "3 records go from laptop.vlr to nas.vlr", ...: one sentence for each kind of change that there is, naming
    /// direction and file. Empty when in step. Without `alsoSecond` only what becomes of the first file.
    std::vector<std::string> sentences(bool alsoSecond = true) const;
};

/// Reads both files and merges them in memory; locks nothing, writes nothing, tells nobody.
/// Raises: CommandFailure: kRefused for different master passwords, kFailed for what can't be read, is no vault or
/// can't be merged.
SyncPlan planFor(const std::string& first, const std::string& second);

/// The bytes of a file that is to be planned with. Raises: CommandFailure (kFailed).
NSData bytesOfFile(const std::string& path);

/// Names for texts, as short as they can be while all differ: "laptop.vlr", or "a/vault.vlr" and "b/vault.vlr";
/// printable.
std::vector<std::string> shortNames(const std::vector<std::string>& paths);
