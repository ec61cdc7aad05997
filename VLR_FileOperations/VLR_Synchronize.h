#pragma once

#include "VLR_Array.h"

#include <cstdint>

class VLR_Document;
class VLR_PasswordData;
class VLR_String;

enum VLR_SynchronizationStyle : int32_t {
    VLR_SyncMerge = 0, // as any value that has no name here
    VLR_SyncPCOverHH = 1, // pc overwrites hh
    VLR_SyncHHOverPC = 2, // hh overwrites pc
    VLR_SyncIdentifiersOnly = 3 // records and deletions stay
};

/// The merge engine: constructing it performs the synchronisation of two documents in memory.
///
/// There is no winner and no look at a date. A UUID names one version of a record, so the merge answers two questions
/// for each record: does the other side have this UUID, and has anybody deleted it. A deletion beats an unedited copy,
/// an edit beats a deletion, and of two edits both stay. Copied records and deletion entries are shared by both
/// documents: both must have the same read style and live until both are written. A failure in the middle leaves the
/// documents half merged; they must not be written then.
/// Cost: linear in records, deletions and the bytes of their clear texts, apart from one sort of the deletions.
class VLR_Synchronize {
public:
    /// Raises: code VLR_ExceptionMastersIncompatible if the stored reference buffers differ, with both documents
    /// untouched; the failures of VLR_PasswordData::Compare and of the lists.
    VLR_Synchronize(VLR_Document& hh, VLR_Document& pc, VLR_SynchronizationStyle style);
    VLR_Synchronize(const VLR_Synchronize&) = delete;
    VLR_Synchronize& operator=(const VLR_Synchronize&) = delete;

    /// The counters and both sides' present numbers of records, a line each.
    VLR_String Description() const;

    uint32_t hhDeleted = 0; // removed from hh because pc lists them as deleted
    uint32_t pcDeleted = 0;
    uint32_t hhToPcCopied = 0;
    uint32_t pcToHhCopied = 0;
    uint32_t pcToHhReplaced = 0; // only the older rule counts here
    uint32_t hhToPcReplaced = 0;
    uint32_t duplicated = 0; // times a record went to the other side because the same UUID differs there
    uint32_t identical = 0; // times a record was found equal to its match; not a count of distinct records

    /// The older rule, by the changed-since-sync flags of both copies. Nothing calls it; it stays beside the live merge
    /// for reading old reports.
    void MergePCWithHH_OldAndUnused();

private:
    enum class RecordFate {
        Identical,
        Differs,
        DeletedThere,
        New
    };
    using Records = VLR_Array<VLR_PasswordData>;

    void DoSynchronize();
    void VerifyMastersCompatible() const;
    void MergeDeletionLists();
    void MergePCWithHH();
    class IndexedRecords;
    class IndexedDeletions;
    struct PassResult {
        uint32_t& deleted;
        uint32_t& copied;
        Records& removed; // holds the records of both passes, before a list lets them go
    };
    void MergeSide(
        IndexedRecords& side, IndexedRecords& other, const IndexedDeletions& otherDeletions, const PassResult& result);

    /// The first record of `records` with this record's UUID goes into `found`, which stays as it is if there is none.
    static bool FindRecordByUUID(const VLR_PasswordData& record, const Records& records, VLR_PasswordData*& found);

    /// One pass of the older rule and the counters that it moves.
    struct FlagPass {
        VLR_Document& side;
        VLR_Document& other;
        uint32_t& deleted;
        uint32_t& copied;
        uint32_t& replacedThere;
        uint32_t& replacedHere;
    };
    void MergeSideByFlags(const FlagPass& pass);
    void MergePairByFlags(const FlagPass& pass, uint32_t index, VLR_PasswordData& match);

    VLR_Document& hh; // the first file's; not owned
    VLR_Document& pc;
    VLR_SynchronizationStyle style;
};
