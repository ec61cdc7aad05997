#include "RunNote.h"

#include "Console.h"
#include "FilePaths.h"
#include "Interruption.h"
#include "VaultContents.h"

RunNote::RunNote(Journal& journal, Console& console, JournalRun run)
    : journal_(journal)
    , console_(console)
    , run_(std::move(run))
    , path_(journal.pathOf(run_.id))
{
}

RunNote::~RunNote()
{
    if (isOpen_)
        Journal::remove(path_);
}

void RunNote::begin()
{
    run_.state = JournalRun::State::Begun;
    isOpen_ = true;
    journal_.write(run_);
}

void RunNote::end(JournalRun::State state)
{
    const StForgetInterruptions behindTheReplacement;
    isOpen_ = false;
    run_.state = state;
    try {
        journal_.write(run_);
    } catch (const std::exception& failure) {
        console_.complainOf(failure);
    } catch (const Interrupted&) {
        return; // the files' hashes say the same as the note would
    }
}

JournalFile journalFileOf(const PlannedFile& file, const VaultContents& after)
{
    JournalFile result;
    result.path = canonicalPath(file.path);
    result.identity = after.identity;
    result.hashBefore = file.hash();
    result.hashAfter = &after == &file.contents ? file.hash() : hashOf(after.bytes());
    result.openDateAfter = after.openDate;
    result.deletionsAfter = static_cast<uint32_t>(after.deletions.size());
    result.recordsAfter = static_cast<uint32_t>(after.records.size());
    result.added = file.added;
    result.removed = file.removed;
    return result;
}
