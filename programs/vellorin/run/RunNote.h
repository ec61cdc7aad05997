#pragma once

#include "Journal.h"
#include "NSData.h"
#include "SyncPlan.h"

#include <string>

class Console;

/// A run's entry in the journal while the run goes on. Ending it before `end` removes the entry: a run
/// that changed nothing leaves nothing.
class RunNote {
public:
    RunNote(Journal& journal, Console& console, JournalRun run);
    ~RunNote();
    RunNote(const RunNote&) = delete;
    RunNote& operator=(const RunNote&) = delete;

    /// Before the first replacement. Raises: CommandFailure (kFailed). Throws Interrupted.
    void begin();

    /// Behind the last replacement. A note that can't be written any more is told and is no failure: the files' hashes
    /// say what has become of the run.
    void end(JournalRun::State state);

private:
    Journal& journal_;
    Console& console_;
    JournalRun run_;
    const std::string path_; // of the entry, made here: removing it needs no memory
    bool isOpen_ = false;
};

/// What the journal is to say of one file of a plan. `after` is what it holds behind the run.
JournalFile journalFileOf(const PlannedFile& file, const VaultContents& after);
