#pragma once

#include "Guards.h"
#include "SyncReport.h"

#include <cstdint>
#include <string>
#include <vector>

class Console;
class Journal;
struct ActionPartners;

struct SyncOptions {
    bool dryRun = false;
    bool backups = true; // a file that holds damage is backed up all the same
    uint32_t keepBackups = 10; // 1 to 99
    GuardOptions guards;
    std::string command = "sync"; // for the journal
    std::string batch; // for the journal

    /// Files of the command's other runs, and their backups: none of them is an old backup that may go.
    std::vector<std::string> alsoSpared;

    /// The second file gives what it has and stays as it is: its copy is about to go.
    bool replaceSecond = true;

    ActionPartners* partners = nullptr; // null for those of Linux
};

/// Synchronises two files as a careful user would: the plan, the guards, the action, the proof, the report.
///
/// 1. Checks of what would only come out in the middle (FileChecks).
/// 2. Plan: both files are read and merged in memory. Nothing to do, or a dry run: the report, and nothing else.
/// 3. Guards: each may refuse (GuardRefusal, unless allowed by its option or by the user at a terminal).
/// 4. The action (SynchronizeFiles) with its hand-off, locks, reads and merge. Its writes are staged: beside each file
/// its
///    new self, synced and read back. Bytes other than those of the plan start all over, at most three times.
/// 5. Proof over what was read back. A run that can't prove it changes nothing.
/// 6. Under the locks: word of a run on these files that was cut off, which this one ends, since a merge of new and old
///    gives the new for both. Numbered backups. The journal's note.
/// 7. The two replacements, back to back. If the second fails, the first is exchanged back. The journal's second note.
/// 8. Older backups go, `keepBackups` stay; the locks are given back; the report.
///
/// Raises: CommandFailure with kRefused, kFailed (nothing was written) or kHalfWritten. Throws Interrupted, with both
/// files old. A signal that comes behind the first replacement waits until all is done.
SyncReport synchronizeFiles(
    const std::string& first, const std::string& second, SyncOptions options, Journal& journal, Console& console);
