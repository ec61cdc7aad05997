#include "VLR_TitleIndex.h"

VLR_PasswordData* VLR_TitleIndex::Find(const VLR_String& title)
{
    ForgetAfterChanges();
    if (!index && walks == kWalksBeforeIndex)
        MakeIndex();
    if (index)
        return static_cast<VLR_PasswordData*>(index->Find(title));
    ++walks;
    return Walk(title);
}

void VLR_TitleIndex::ForgetAfterChanges()
{
    if (listChanges == records.Changes() && titleChanges == VLR_PasswordData::TitleChanges())
        return;
    index.reset();
    walks = 0;
    listChanges = records.Changes();
    titleChanges = VLR_PasswordData::TitleChanges();
}

void VLR_TitleIndex::MakeIndex()
{
    index.emplace(VLR_StringComparisonExact, records.Count());
    try {
        for (uint32_t i = 0; i < records.Count(); ++i)
            index->Add(records.ObjectAtIndex(i)->Title(), records.ObjectAtIndex(i));
    } catch (...) {
        index.reset(); // half an index would hide records
        throw;
    }
}

VLR_PasswordData* VLR_TitleIndex::Walk(const VLR_String& title) const
{
    for (uint32_t i = 0; i < records.Count(); ++i) {
        if (records.ObjectAtIndex(i)->Title().Compare(&title) == 0)
            return records.ObjectAtIndex(i);
    }
    return nullptr;
}
