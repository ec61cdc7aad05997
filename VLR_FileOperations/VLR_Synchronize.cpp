#include "VLR_Synchronize.h"

#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_System.h"
#include "VLR_TextIndex.h"
#include "VLR_TextRepresentations.h"

#include <cstdio>

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
    default:
        MergeDeletionLists();
        MergePCWithHH();
    }
    pc.partnerDocumentID = hh.uniqueDocumentID;
    hh.partnerDocumentID = pc.uniqueDocumentID;
}

void VLR_Synchronize::VerifyMastersCompatible() const
{
    if (pc.referenceBuffer.Compare(&hh.referenceBuffer) != 0)
        throw VLR_Exception(
            VLR_ExceptionMastersIncompatible, __FILE__, kMastersDiffer.function, kMastersDiffer.line);
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

void VLR_Synchronize::MergePCWithHH()
{
    // hh first and to its end: the second pass sees what this one has added to pc and removed from hh.
    MergeSide(hh, pc, hhDeleted, hhToPcCopied);
    MergeSide(pc, hh, pcDeleted, pcToHhCopied);
}

void VLR_Synchronize::MergeSide(VLR_Document& side, VLR_Document& other, uint32_t& deleted, uint32_t& copied)
{
    VLR_TextIndex otherRecords(VLR_StringComparisonExact, other.recordList.Count());
    for (uint32_t i = 0; i < other.recordList.Count(); ++i)
        otherRecords.Add(other.recordList.ObjectAtIndex(i)->UUID(), other.recordList.ObjectAtIndex(i));
    VLR_TextIndex otherDeletions(VLR_StringComparisonCaseless, other.deletionList.Count());
    for (uint32_t i = 0; i < other.deletionList.Count(); ++i)
        otherDeletions.Add(other.deletionList.ObjectAtIndex(i)->uuid, other.deletionList.ObjectAtIndex(i));

    const auto appendToOther = [&](VLR_PasswordData* record, uint32_t& counter) {
        other.recordList.AppendObject(record);
        otherRecords.Add(record->UUID(), record);
        ++counter;
    };

    Records removals;
    StVLR_TextRepresentations whileComparing;
    KeepComparedTexts(side.recordList, whileComparing);
    KeepComparedTexts(other.recordList, whileComparing);
    const uint32_t count = side.recordList.Count(); // appends go to the other side
    for (uint32_t i = 0; i < count; ++i) {
        VLR_PasswordData* const record = side.recordList.ObjectAtIndex(i);
        switch (FateOf(*record, otherRecords, otherDeletions)) {
        case RecordFate::Identical: ++identical; break;
        case RecordFate::Differs: appendToOther(record, duplicated); break;
        case RecordFate::New: appendToOther(record, copied); break;
        case RecordFate::DeletedThere:
            removals.AppendObject(record);
            ++deleted;
            break;
        }
    }
    side.recordList.RemoveObjects(removals);
}

VLR_Synchronize::RecordFate VLR_Synchronize::FateOf(
    const VLR_PasswordData& record, const VLR_TextIndex& otherRecords, const VLR_TextIndex& otherDeletions)
{
    const VLR_Object* const match = otherRecords.Find(record.UUID());
    if (match != nullptr)
        return record.Compare(match) == 0 ? RecordFate::Identical : RecordFate::Differs;
    return otherDeletions.Find(record.UUID()) != nullptr ? RecordFate::DeletedThere : RecordFate::New;
}

bool VLR_Synchronize::FindRecordByUUID(
    const VLR_PasswordData& record, const Records& records, VLR_PasswordData*& found)
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
        static_cast<int>(duplicated), static_cast<int>(pc.recordList.Count()),
        static_cast<int>(hh.recordList.Count()));
    return VLR_String(text, VLR_CharacterSetUTF8);
}
