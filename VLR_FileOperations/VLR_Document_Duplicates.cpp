#include "VLR_Document.h"

uint32_t VLR_Document::LatchDuplicates(bool verbose)
{
    FindAll();
    select.DeselectAll();
    select.ResetLatch();
    // Title last, so that it is the first key; equal records end up side by side.
    for (const VLR_SortField field :
        { VLR_SortURL, VLR_SortUsername, VLR_SortCategory, VLR_SortPassword, VLR_SortTitle }) {
        SetSortParams(field, /*descending=*/false);
        SortRecords();
    }
    uint32_t duplicates = 0;
    for (uint32_t i = 1; i < viewableList.Count(); ++i) {
        VLR_PasswordData* const record = viewableList.ObjectAtIndex(i);
        if (!viewableList.ObjectAtIndex(i - 1)->IsDuplicate(*record, verbose))
            continue;
        select.LatchItem(record);
        ++duplicates;
    }
    return duplicates;
}

uint32_t VLR_Document::RemoveDuplicates()
{
    const uint32_t duplicates = LatchDuplicates(/*verbose=*/false);
    const VLR_Array<VLR_PasswordData>& latched = select.Latch();
    viewableList.RemoveObjects(latched); // first, as the next find brings back what memory failed for half way
    recordList.RemoveObjects(latched);
    deletionList.RemoveAll(); // the older entries too, so that none need be made for these records
    select.DeselectAll();
    select.ResetLatch();
    return duplicates;
}
