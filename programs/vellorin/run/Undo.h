#pragma once

#include "Journal.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

class Console;
struct ActionPartners;

/// What taking back a run does to one file.
struct UndoneFile {
    std::string path;
    std::string backup; // which takes the file's place
    bool isOldAlready = false; // a run that was cut off had not come to it
};

struct UndoReport {
    std::vector<JournalRun> runs; // the newest first: several if one command made them
    std::vector<UndoneFile> files;
    bool isDone = false; // not so for a dry run
};

struct UndoOptions {
    bool dryRun = false;
    bool confines = false; // the process, for the rest of its life, to the folders of the files and their backups
    ActionPartners* partners = nullptr; // null for those of Linux; not with `confines`
};

/// Takes back the newest run that was not taken back yet, or the newest in which all of these files took part: all its
/// files get the bytes that they had before, as one unit, from their backups. Runs that one command made count as one.
/// A run that was cut off can be taken back as well.
///
/// Under the same locks as a synchronisation, and staged and replaced like one. The journal remembers it, so that a
/// further call takes back the run before.
/// Raises: CommandFailure: kRefused, with the reason, if there is no such run, if a file has changed since, or if a
/// backup is missing or not what it was; kFailed; kHalfWritten. Throws Interrupted, with all files as they were.
UndoReport undo(const std::vector<std::string>& paths, const UndoOptions& options, Journal& journal, Console& console);

void printReport(const UndoReport& report, Console& console);

/// Members for a document of the command.
nlohmann::ordered_json jsonOf(const UndoReport& report);
