#pragma once

#include "Guards.h"
#include "SyncReport.h"

#include <string>

class Console;
class Journal;

struct SyncOptions {
    bool dryRun = false;
    bool backups = true;
    uint32_t keepBackups = 10;
    GuardOptions guards;
    std::string command = "sync"; // for the journal

    /// The second file gives what it has and stays as it is: its copy is about to go.
    bool replaceSecond = true;
};

/// Synchronises two files as a careful user would: the plan, the guards, the action, the proof, the report.
///
/// 1. An unfinished run on these files that the journal knows is told and ended by this one.
/// 2. Plan: both files are read and merged in memory. In step, or a dry run: the report, and nothing else.
/// 3. Guards: each may refuse (CommandFailure with kRefused, unless allowed by its option or by the user at a terminal).
/// 4. Numbered backups of both files, pruned to `keepBackups`.
/// 5. The action (SynchronizeFiles) with its hand-off, locks, reads and merge. Its writes are staged: beside each file its
///    new self, synced and read back. Bytes other than those of the plan start all over, at most three times.
/// 6. Proof over what was read back. A run that can't prove it changes nothing.
/// 7. The journal's note; then the two replacements, back to back. If the second fails, the first is exchanged back.
/// 8. The report.
///
/// Raises: CommandFailure with kRefused, kFailed (nothing was written) or kHalfWritten. Throws Interrupted, with both files
/// old or, once the first is replaced, both new.
SyncReport synchronizeFiles(
    const std::string& first, const std::string& second, const SyncOptions& options, Journal& journal, Console& console);
