#include "VLR_Document.h"

#include "VLR_RecordOrder.h"

namespace {

constexpr double kDarkBackground = 0.3;

/// Appends the records that `fits` lets through, behind what is there if it is to stay.
template <class Fits>
void Find(const VLR_Array<VLR_PasswordData>& records, bool addToResults, VLR_Array<VLR_PasswordData>& found, Fits fits)
{
    if (!addToResults)
        found.RemoveAll();
    for (uint32_t i = 0; i < records.Count(); ++i) {
        if (fits(*records.ObjectAtIndex(i)))
            found.AppendObject(records.ObjectAtIndex(i));
    }
}

float Intensity(uint16_t component)
{
    return static_cast<float>(component) / 65535.0f;
}

} // namespace

void VLR_Document::FindParams(const VLR_Search& find)
{
    switch (find.searchKind) {
    case VLR_SearchCategory: FindCategory(find.searchText, find.addToResults); break;
    case VLR_SearchContains: FindContains(find.searchText, find.addToResults); break;
    case VLR_SearchAll: FindAll(); break;
    default: break;
    }
}

void VLR_Document::FindAll()
{
    SetSearch(VLR_SearchAll, VLR_String(), /*addToResults=*/false);
    viewableList = recordList;
}

void VLR_Document::FindContains(const VLR_String& text, bool addToResults)
{
    const VLR_String wanted(text); // it may be the current find's own
    SetSearch(VLR_SearchContains, wanted, addToResults);
    const StVLR_AutoSystemRepresentation whileFinding(wanted);
    Find(recordList, addToResults, viewableList,
        [&](const VLR_PasswordData& record) { return record.Contains(wanted); });
}

void VLR_Document::FindCategory(const VLR_String& text, bool addToResults)
{
    const VLR_String wanted(text);
    SetSearch(VLR_SearchCategory, wanted, addToResults);
    Find(recordList, addToResults, viewableList,
        [&](const VLR_PasswordData& record) { return record.Category().Compare(&wanted) == 0; });
}

void VLR_Document::SetSearch(VLR_SearchKind kind, const VLR_String& text, bool addToResults)
{
    search.searchKind = kind;
    search.searchText = text;
    search.addToResults = addToResults;
}

VLR_PasswordData* VLR_Document::FindTitle(const VLR_String& title)
{
    return titles.Find(title);
}

void VLR_Document::SortRecords()
{
    VLR_SortField field = VLR_SortTitle;
    bool descending = false;
    SortParams(field, descending);
    if (field != VLR_SortTitle) {
        const StVLR_SortParams whileSortingByTitle(*this);
        SetSortParams(VLR_SortTitle, descending);
        VLR_RecordOrder(*this).Sort(viewableList, recordList);
    }
    VLR_RecordOrder(*this).Sort(viewableList, recordList);
}

bool VLR_Document::RenderTextWhite() const
{
    const float sum
        = Intensity(backgroundColor.green) + Intensity(backgroundColor.red) + Intensity(backgroundColor.blue);
    return static_cast<double>(sum / 3.0f) < kDarkBackground;
}
