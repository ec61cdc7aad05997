#include "VLR_Synchronize.h"

#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_System.h"
#include "VLR_TextIndex.h"
#include "VLR_TextRepresentations.h"

#include <cstdio>
#include <vector>

namespace {

struct FailureSite {
    const char* function;
    int line;
};

constexpr FailureSite kMastersDiffer { "VerifyMastersCompatible", 32 }; // hosts match on it: don't follow the source

/// Of each run of equal entries in a sorted list, the first.
void CopyFirstOfEach(const VLR_Array<VLR_Deletion>& sorted, VLR_Array<VLR_Deletion>& unique)
{
    const VLR_Deletion* lastKept = nullptr;
    for (uint32_t i = 0; i < sorted.Count(); ++i) {
        VLR_Deletion* const entry = sorted.ObjectAtIndex(i);
        if (lastKept != nullptr && entry->Compare(lastKept) == 0)
            continue;
        unique.AppendObject(entry);
        lastKept = entry;
    }
}

void ClearChangedSinceSync(const VLR_Array<VLR_PasswordData>& records)
{
    for (uint32_t i = 0; i < records.Count(); ++i)
        records.ObjectAtIndex(i)->SetChangedSinceSync(0);
}

void KeepComparedTexts(const VLR_Array<VLR_PasswordData>& records, StVLR_TextRepresentations& representations)
{
    for (uint32_t i = 0; i < records.Count(); ++i) {
        representations.Keep(records.ObjectAtIndex(i)->UUID());
        representations.Keep(records.ObjectAtIndex(i)->Category());
    }
}

/// Records and deletions of `winner` take the place of those of `loser`.
void Overwrite(VLR_Document& loser, const VLR_Document& winner)
{
    ClearChangedSinceSync(winner.recordList);
    if (&loser == &winner)
        return;
    loser.recordList = winner.recordList;
    loser.deletionList = winner.deletionList;
}

} // namespace

VLR_Synchronize::VLR_Synchronize(VLR_Document& hh, VLR_Document& pc, VLR_SynchronizationStyle style)
    : hh(hh)
    , pc(pc)
    , style(style)
{
    DoSynchronize();
}

void VLR_Synchronize::DoSynchronize()
{
    VerifyMastersCompatible();
    switch (style) {
    case VLR_SyncIdentifiersOnly: break;
    case VLR_SyncHHOverPC: Overwrite(pc, hh); break;
    case VLR_SyncPCOverHH: Overwrite(hh, pc); break;
    default: {
        MergeDeletionLists();
        MergePCWithHH();
    }
    }
    pc.partnerDocumentID = hh.uniqueDocumentID;
    hh.partnerDocumentID = pc.uniqueDocumentID;
}

void VLR_Synchronize::VerifyMastersCompatible() const
{
    if (pc.referenceBuffer.Compare(&hh.referenceBuffer) != 0)
        throw VLR_Exception(VLR_ExceptionMastersIncompatible, __FILE__, kMastersDiffer.function, kMastersDiffer.line);
}

void VLR_Synchronize::MergeDeletionLists()
{
    hh.deletionList.AppendObjectsFrom(pc.deletionList); // hh first: of equal entries its own stays
    if (hh.deletionList.Count() > 1) {
        VLR_Array<VLR_Deletion> unique;
        {
            StVLR_TextRepresentations whileSorting;
            for (uint32_t i = 0; i < hh.deletionList.Count(); ++i)
                whileSorting.Keep(hh.deletionList.ObjectAtIndex(i)->uuid);
            hh.deletionList.Sort(VLR_DeletionComparator());
            CopyFirstOfEach(hh.deletionList, unique);
        }
        hh.deletionList = unique;
    }
    if (&pc != &hh)
        pc.deletionList = hh.deletionList;
}

/// One side's records, found by identity, and the hash of each identity: it is asked for on the other side too.
class VLR_Synchronize::IndexedRecords {
public:
    explicit IndexedRecords(VLR_Document& document)
        : list(document.recordList)
        , index(VLR_StringComparisonExact, list.Count())
    {
        hashes.reserve(list.Count());
        for (uint32_t i = 0; i < list.Count(); ++i) {
            PrefetchUUIDBehind(i);
            hashes.push_back(index.HashOf(UUIDAt(i)));
        }
        for (uint32_t i = 0; i < list.Count(); ++i) {
            if (i + kPrefetchAhead < list.Count())
                index.Prefetch(hashes[i + kPrefetchAhead], 0);
            index.Add(UUIDAt(i), hashes[i], list.ObjectAtIndex(i));
        }
    }

    Records& List() { return list; }
    uint64_t HashAt(uint32_t i) const { return hashes[i]; }

    void Append(VLR_PasswordData* record)
    {
        list.AppendObject(record);
        hashes.push_back(index.HashOf(record->UUID()));
        index.Add(record->UUID(), hashes.back(), record);
    }

    /// Takes records out of the list and leaves them in the index.
    void RemoveFromList(const Records& removals) { list.RemoveObjects(removals); }

    const VLR_Object* Find(const VLR_PasswordData& record, uint64_t hash) const
    {
        return index.Find(record.UUID(), hash);
    }

    /// Asks memory for what the walk over `side` will look for here some records later.
    void PrefetchBehind(const IndexedRecords& side, uint32_t i) const
    {
        side.PrefetchUUIDBehind(i);
        if (i + VLR_TextIndex::kPrefetchSteps * kPrefetchAhead >= side.hashes.size())
            return;
        for (uint32_t step = 0; step < VLR_TextIndex::kPrefetchSteps; ++step)
            index.Prefetch(side.hashes[i + (VLR_TextIndex::kPrefetchSteps - step) * kPrefetchAhead], step);
    }

private:
    static constexpr uint32_t kPrefetchAhead = 6; // records

    const VLR_String& UUIDAt(uint32_t i) const { return list.ObjectAtIndex(i)->UUID(); }

    void PrefetchUUIDBehind(uint32_t i) const
    {
        if (i + kPrefetchAhead < list.Count())
            VLR_TextIndex::Prefetch(UUIDAt(i + kPrefetchAhead));
    }

    Records& list;
    VLR_TextIndex index;
    std::vector<uint64_t> hashes; // in the list's order, as it was before the first removal
};

class VLR_Synchronize::IndexedDeletions {
public:
    explicit IndexedDeletions(const VLR_Document& document)
        : index(VLR_StringComparisonCaseless, document.deletionList.Count())
    {
        for (uint32_t i = 0; i < document.deletionList.Count(); ++i)
            index.Add(document.deletionList.ObjectAtIndex(i)->uuid, document.deletionList.ObjectAtIndex(i));
    }

    bool Contain(const VLR_PasswordData& record) const { return index.Find(record.UUID()) != nullptr; }

private:
    VLR_TextIndex index;
};

void VLR_Synchronize::MergePCWithHH()
{
    Records removed; // here, because representations and index refer to their texts to the end
    StVLR_TextRepresentations whileComparing;
    KeepComparedTexts(hh.recordList, whileComparing);
    KeepComparedTexts(pc.recordList, whileComparing);
    IndexedRecords hhRecords(hh);
    IndexedRecords pcRecords(pc);
    const IndexedDeletions deletions(hh); // both sides have the same by now

    // hh first and to its end: the second pass sees what this one has added to pc and removed from hh. What it has
    // removed may stay in the index of hh: pc has no record of that identity, and so nobody asks for it.
    MergeSide(hhRecords, pcRecords, deletions, { hhDeleted, hhToPcCopied, removed });
    MergeSide(pcRecords, hhRecords, deletions, { pcDeleted, pcToHhCopied, removed });
}

void VLR_Synchronize::MergeSide(
    IndexedRecords& side, IndexedRecords& other, const IndexedDeletions& otherDeletions, const PassResult& result)
{
    const auto fateOf = [&](const VLR_PasswordData& record, uint64_t hash) {
        const VLR_Object* const match = other.Find(record, hash);
        if (match != nullptr)
            return record.Compare(match) == 0 ? RecordFate::Identical : RecordFate::Differs;
        return otherDeletions.Contain(record) ? RecordFate::DeletedThere : RecordFate::New;
    };

    Records removals;
    const uint32_t count = side.List().Count(); // appends go to the other side
    for (uint32_t i = 0; i < count; ++i) {
        other.PrefetchBehind(side, i);
        VLR_PasswordData* const record = side.List().ObjectAtIndex(i);
        switch (fateOf(*record, side.HashAt(i))) {
        case RecordFate::Identical: ++identical; break;
        case RecordFate::Differs:
            other.Append(record);
            ++duplicated;
            break;
        case RecordFate::New:
            other.Append(record);
            ++result.copied;
            break;
        case RecordFate::DeletedThere:
            removals.AppendObject(record);
            ++result.deleted;
            break;
        }
    }
    result.removed.AppendObjectsFrom(removals);
    side.RemoveFromList(removals);
}

bool VLR_Synchronize::FindRecordByUUID(const VLR_PasswordData& record, const Records& records, VLR_PasswordData*& found)
{
    const uint32_t index = records.IndexOf(record, VLR_PasswordDataUUIDComparator());
    if (index == Records::kNotFound)
        return false;
    found = records.ObjectAtIndex(index);
    return true;
}

VLR_String VLR_Synchronize::Description() const
{
    char text[2048] = {};
    std::snprintf(text, sizeof text,
        "     hh deleted:%d\n     pc deleted:%d\n    hh->pc copy:%d\n    pc->hh copy:%d\n    pc->hh repl:%d\n"
        "    hh->pc repl:%d\n     duplicated:%d\n       pc total:%d\n       hh total:%d",
        static_cast<int>(hhDeleted), static_cast<int>(pcDeleted), static_cast<int>(hhToPcCopied),
        static_cast<int>(pcToHhCopied), static_cast<int>(pcToHhReplaced), static_cast<int>(hhToPcReplaced),
        static_cast<int>(duplicated), static_cast<int>(pc.recordList.Count()), static_cast<int>(hh.recordList.Count()));
    return VLR_String(text, VLR_CharacterSetUTF8);
}
