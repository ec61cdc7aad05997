#include "VLR_Synchronize.h"

#include "VLR_Document.h"
#include "VLR_System.h"
#include "VLR_Utility.h"

namespace {

bool BodiesDiffer(const VLR_PasswordData& a, const VLR_PasswordData& b)
{
    return a.EncryptedBody().ComputeChecksum() != b.EncryptedBody().ComputeChecksum();
}

bool IsListedAsDeleted(const VLR_PasswordData& record, const VLR_Document& document)
{
    const VLR_Deletion asDeletion(record.UUID(), record.Checksum());
    return document.deletionList.Contains(asDeletion, VLR_DeletionComparator());
}

/// `object` is in the list.
uint32_t IndexOfObject(const VLR_ObjectArray& list, const VLR_Object* object)
{
    uint32_t index = 0;
    while (list.Base()[index] != object)
        ++index;
    return index;
}

void AppendReportLine(VLR_String& report, const VLR_PasswordData& record)
{
    report.AppendPiece(record.UUID());
    report.AppendPiece(VLR_String(" => ", VLR_CharacterSetUTF8));
    report.Append(VLR_Utility::UInt32AsHex(record.Checksum()));
    report.Append(VLR_String("\n", VLR_CharacterSetUTF8));
}

} // namespace

void VLR_Synchronize::MergePCWithHH_OldAndUnused()
{
    MergeSideByFlags({ hh, pc, hhDeleted, hhToPcCopied, hhToPcReplaced, pcToHhReplaced });
    MergeSideByFlags({ pc, hh, pcDeleted, pcToHhCopied, pcToHhReplaced, hhToPcReplaced });
}

void VLR_Synchronize::MergeSideByFlags(const FlagPass& pass)
{
    VLR_String report; // built for a reader that is gone; nothing takes it up
    Records removals;
    const uint32_t count = pass.side.recordList.Count();
    for (uint32_t i = 0; i < count; ++i) {
        VLR_PasswordData* const record = pass.side.recordList.ObjectAtIndex(i);
        AppendReportLine(report, *record);
        VLR_PasswordData* match = nullptr;
        if (FindRecordByUUID(*record, pass.other.recordList, match)) {
            MergePairByFlags(pass, i, *match);
        } else if (IsListedAsDeleted(*record, pass.other)) {
            removals.AppendObject(record);
            ++pass.deleted;
        } else {
            pass.other.recordList.AppendObject(record);
            ++pass.copied;
        }
    }
    pass.side.recordList.RemoveObjects(removals);
}

void VLR_Synchronize::MergePairByFlags(const FlagPass& pass, uint32_t index, VLR_PasswordData& match)
{
    VLR_PasswordData& record = *pass.side.recordList.ObjectAtIndex(index);
    const bool changedHere = record.ChangedSinceSync() != 0;
    const bool changedThere = match.ChangedSinceSync() != 0;
    record.SetChangedSinceSync(0);
    match.SetChangedSinceSync(0);
    if (&record == &match) { // shared since the first pass
        ++identical;
    } else if (changedHere && !changedThere) {
        pass.other.recordList.SetObjectAtIndex(&record, IndexOfObject(pass.other.recordList, &match));
        ++pass.replacedThere;
    } else if (changedThere && !changedHere) {
        pass.side.recordList.SetObjectAtIndex(&match, index);
        ++pass.replacedHere;
    } else if (changedHere || BodiesDiffer(record, match)) {
        match.SetUUID(VLR_System::NewUUID());
        pass.other.recordList.AppendObject(&record);
        ++duplicated;
    } else {
        ++identical;
    }
}
