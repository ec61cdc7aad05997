#include "VLR_Select.h"

#include "VLR_Document.h"
#include "VLR_RecordOrder.h"
#include "VLR_System.h"

#include <algorithm>
#include <functional>
#include <unordered_set>

namespace {

constexpr uint32_t kTypingPause = 41; // in the front end's units
constexpr uint32_t kLongestTypedText = 1u << 16; // bytes: no front end can show more of a title
constexpr int32_t kNoRowSigned = -1;

void SetSelected(const VLR_Array<VLR_PasswordData>& records, bool selected)
{
    for (uint32_t i = 0; i < records.Count(); ++i)
        records.ObjectAtIndex(i)->SetSelected(selected ? 1 : 0);
}

} // namespace

bool VLR_AddressComparator::IsLessThan(const VLR_Object* a, const VLR_Object* b) const
{
    return std::less<const VLR_Object*>()(a, b);
}

bool VLR_AddressComparator::IsEqual(const VLR_Object* a, const VLR_Object* b) const
{
    return a == b;
}

VLR_Select::VLR_Select(VLR_Document& document)
    : document(document)
{
}

// Keys

void VLR_Select::RebuildTypeAheadIndex()
{
    const StVLR_SortParams whileSorting(document);
    document.SetSortParams(VLR_SortTitle, /*descending=*/false);
    titlesAsIndexed.reset();
    typeAheadIndex = document.viewableList;
    if (VLR_RecordOrder(document).Sort(typeAheadIndex))
        titlesAsIndexed = VLR_PasswordData::TitleChanges();
}

bool VLR_Select::ProcessKeyEvent(VLR_KeyEvent& event)
{
    if (document.viewableList.IsEmpty() || event.ignoreKey)
        return false;
    if (event.timeStamp - lastKeyTime >= kTypingPause) // modulo 2^32: a clock that went back is a pause too
        typedCharacters.Resize(0);
    lastKeyTime = event.timeStamp;
    if (event.downArrow || event.upArrow)
        return false;
    if (event.tabKey)
        return ProcessTabKeyPrivate(event);
    return event.isUniChar && ProcessUniCharPrivate(event);
}

bool VLR_Select::ProcessUniCharPrivate(VLR_KeyEvent& event)
{
    if (typedCharacters.Length() < kLongestTypedText)
        typedCharacters.Append(&event.uniChar, sizeof event.uniChar);
    const VLR_String prefix(typedCharacters, VLR_CharacterSetUTF16);
    ProcessSelectOneRecordPrivate(*FirstTitleFrom(prefix));
    return true;
}

VLR_PasswordData* VLR_Select::FirstTitleFrom(const VLR_String& prefix) const
{
    uint32_t first = 0;
    uint32_t last = typeAheadIndex.Count();
    const auto isBefore = [&](uint32_t i) {
        const VLR_String& title = typeAheadIndex.ObjectAtIndex(i)->Title();
        return VLR_System::CompareStrings(title, prefix, VLR_StringComparisonCaseless) < 0;
    };
    if (titlesAsIndexed == VLR_PasswordData::TitleChanges()) {
        while (first < last) {
            const uint32_t middle = first + (last - first) / 2;
            if (isBefore(middle))
                first = middle + 1;
            else
                last = middle;
        }
    } else {
        while (first < last && isBefore(first))
            ++first;
    }
    const uint32_t count = typeAheadIndex.Count();
    return typeAheadIndex.ObjectAtIndex(first < count ? first : count - 1); // none in an empty index: raises
}

void VLR_Select::ProcessSelectOneRecordPrivate(VLR_PasswordData& record)
{
    DeselectAll();
    record.SetSelected(1);
    anchorRow = static_cast<int32_t>(document.viewableList.IndexOf(record, VLR_AddressComparator()));
    activeRow = anchorRow;
}

bool VLR_Select::ProcessTabKeyPrivate(VLR_KeyEvent& event)
{
    const uint32_t row = SelectedVisibleRow(event.shiftKey);
    typedCharacters.Resize(0);
    if (!event.shiftKey && event.tabAllowA != event.tabAllowB)
        return false;
    uint32_t position = kNoRow;
    if (row != kNoRow)
        position = typeAheadIndex.IndexOf(*document.viewableList.ObjectAtIndex(row), VLR_AddressComparator());
    const uint32_t target = TabTarget(event, position);
    if (event.shiftKey && target == kNoRow)
        return false;
    ProcessSelectOneRecordPrivate(*typeAheadIndex.ObjectAtIndex(target));
    return true;
}

uint32_t VLR_Select::TabTarget(const VLR_KeyEvent& event, uint32_t position) const
{
    const uint32_t last = typeAheadIndex.Count() - 1; // kNoRow for an empty index
    if (event.shiftKey)
        return position != kNoRow && position >= 1 ? position - 1 : last;
    return position != kNoRow && position != last ? position + 1 : 0;
}

bool VLR_Select::ProcessArrowKeyPrivate(VLR_KeyEvent& event)
{
    const uint32_t selectedCount = Selection().Count();
    int32_t row = kNoRowSigned;
    if (selectedCount == 1) {
        row = static_cast<int32_t>(SelectedVisibleRow(event.shiftKey));
        anchorRow = row;
    } else if (selectedCount > 1) {
        row = activeRow;
    }
    if (event.downArrow && event.downArrowVeto)
        return false;
    const int32_t target = ArrowTarget(event, row);
    if (!event.shiftKey) {
        ProcessSelectOneRecordPrivate(*document.viewableList.ObjectAtIndex(static_cast<uint32_t>(target)));
        return true;
    }
    DeselectAll();
    SelectRows(std::min(target, anchorRow), std::max(target, anchorRow));
    activeRow = target;
    return true;
}

int32_t VLR_Select::ArrowTarget(const VLR_KeyEvent& event, int32_t row) const
{
    const int32_t lastRow = static_cast<int32_t>(document.viewableList.Count()) - 1;
    if (event.downArrow) {
        if (row == kNoRowSigned)
            return 0;
        return row >= lastRow ? row : row + 1;
    }
    if (event.upArrow) {
        if (row == kNoRowSigned)
            return lastRow;
        return row <= 0 ? row : row - 1;
    }
    return row;
}

void VLR_Select::SelectRows(int32_t first, int32_t last)
{
    for (int64_t row = first; row <= last; ++row)
        document.viewableList.ObjectAtIndex(static_cast<uint32_t>(row))->SetSelected(1);
}

// Selection

void VLR_Select::DeselectAll()
{
    SetSelected(document.recordList, false);
}

void VLR_Select::SelectAll()
{
    SetSelected(document.recordList, true);
}

VLR_Array<VLR_PasswordData> VLR_Select::Selection() const
{
    VLR_Array<VLR_PasswordData> selection;
    for (uint32_t i = 0; i < document.viewableList.Count(); ++i) {
        if (document.viewableList.ObjectAtIndex(i)->Selected() != 0)
            selection.AppendObject(document.viewableList.ObjectAtIndex(i));
    }
    return selection;
}

uint32_t VLR_Select::SelectedVisibleRow(bool fromEnd) const
{
    const uint32_t count = document.viewableList.Count();
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t row = fromEnd ? count - 1 - i : i;
        if (document.viewableList.ObjectAtIndex(row)->Selected() != 0)
            return row;
    }
    return kNoRow;
}

void VLR_Select::SetSelection(VLR_Array<VLR_PasswordData>& records)
{
    DeselectAll();
    SetSelected(records, true);
}

// The latch

void VLR_Select::LatchViewableItems()
{
    latch = document.viewableList;
}

void VLR_Select::LatchSelectedItems()
{
    latch = Selection();
}

void VLR_Select::LatchItem(VLR_PasswordData* record)
{
    latch.AppendObject(record);
}

void VLR_Select::SelectNewItemsSinceLatch()
{
    const std::unordered_set<const VLR_Object*> latched(latch.Base(), latch.Base() + latch.Count());
    for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
        VLR_PasswordData* const record = document.recordList.ObjectAtIndex(i);
        record->SetSelected(latched.count(record) == 0 ? 1 : 0);
    }
    latch.RemoveAll();
}

void VLR_Select::SelectLatchedItems()
{
    SetSelection(latch);
    latch.RemoveAll();
}

void VLR_Select::ResetLatch()
{
    latch.RemoveAll();
}
