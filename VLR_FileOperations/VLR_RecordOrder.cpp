#include "VLR_RecordOrder.h"

#include "VLR_Document.h"
#include "VLR_PodBlock.h"
#include "VLR_System.h"
#include "VLR_TextRepresentations.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace {

using Records = VLR_Array<VLR_PasswordData>;

const VLR_String& (VLR_PasswordData::*TextOf(VLR_SortField field))() const
{
    switch (field) {
    case VLR_SortTitle: return &VLR_PasswordData::Title;
    case VLR_SortURL: return &VLR_PasswordData::URL;
    case VLR_SortUsername: return &VLR_PasswordData::Username;
    case VLR_SortCategory: return &VLR_PasswordData::Category;
    case VLR_SortPassword: return &VLR_PasswordData::Password;
    case VLR_SortModifiedDate:
    case VLR_SortLastUsedDate: break;
    }
    return nullptr;
}

/// Comparison keys of many texts in one block.
class Keys {
public:
    explicit Keys(uint32_t count)
    {
        const uint64_t size = uint64_t { count } * sizeof(Entry);
        entries.Reserve(static_cast<uint32_t>(std::min<uint64_t>(size, UINT32_MAX))); // which no allocation can grant
    }

    void Add(const VLR_String& text)
    {
        const uint32_t start = bytes.Length();
        VLR_System::AppendComparisonKey(text, VLR_StringComparisonCaseless, bytes);
        entries.Resize(entries.Length() + static_cast<uint32_t>(sizeof(Entry)));
        Entry& entry = entries.Values()[entries.Count() - 1]; // filled where it stands, which is wiped
        entry.start = start;
        entry.length = bytes.Length() - start;
        for (uint32_t i = 0; i < sizeof entry.prefix; ++i)
            entry.prefix = entry.prefix << 8 | (i < entry.length ? bytes.Bytes()[start + i] : 0);
    }

    bool IsLess(uint32_t a, uint32_t b) const
    {
        const Entry& left = entries.Values()[a];
        const Entry& right = entries.Values()[b];
        if (left.prefix != right.prefix)
            return left.prefix < right.prefix;
        const uint32_t shorter = std::min(left.length, right.length);
        const int order
            = shorter == 0 ? 0 : std::memcmp(bytes.Bytes() + left.start, bytes.Bytes() + right.start, shorter);
        return order != 0 ? order < 0 : left.length < right.length;
    }

private:
    struct Entry {
        uint64_t prefix; // the first 8 bytes, which mostly decide
        uint32_t start;
        uint32_t length;
    };

    VLR_MemoryBlock bytes;
    VLR_PodBlock<Entry> entries;
};

bool AreSame(const Records& a, const Records& b)
{
    return a.Count() == b.Count() && std::equal(a.Base(), a.Base() + a.Count(), b.Base());
}

/// Records of several documents compare by several fields.
void SortByComparisons(Records& records)
{
    StVLR_TextRepresentations whileSorting;
    for (uint32_t i = 0; i < records.Count(); ++i) {
        const VLR_PasswordData& record = *records.ObjectAtIndex(i);
        for (const VLR_String* const text : { &record.UUID(), &record.Title(), &record.URL(), &record.Username(),
                 &record.Category(), &record.Password() })
            whileSorting.Keep(*text);
    }
    records.Sort(VLR_PasswordDataComparator());
}

} // namespace

StVLR_SortParams::StVLR_SortParams(VLR_Document& document)
    : document(document)
    , sortParams(document.sortParams)
{
}

StVLR_SortParams::~StVLR_SortParams()
{
    document.sortParams = sortParams;
}

VLR_RecordOrder::VLR_RecordOrder(const VLR_Document& document)
    : document(document)
{
    VLR_SortField field = VLR_SortTitle;
    document.SortParams(field, descending);
    if (!document.KeepEncrypted())
        text = TextOf(field);
}

bool VLR_RecordOrder::Sort(Records& records) const
{
    const bool byKeys = HasKeysFor(records);
    if (byKeys)
        records.Reorder(OrderByKeys(records));
    else
        SortByComparisons(records);
    return byKeys;
}

void VLR_RecordOrder::Sort(Records& records, Records& others) const
{
    if (!AreSame(records, others) || !HasKeysFor(records)) {
        Sort(records);
        Sort(others);
        return;
    }
    const std::vector<uint32_t> order = OrderByKeys(records);
    records.Reorder(order);
    others.Reorder(order);
}

/// Each comparison asks the sort order of its own record's document.
bool VLR_RecordOrder::HasKeysFor(const Records& records) const
{
    if (text == nullptr)
        return false;
    for (uint32_t i = 0; i < records.Count(); ++i) {
        if (records.ObjectAtIndex(i)->Document() != &document)
            return false;
    }
    return true;
}

std::vector<uint32_t> VLR_RecordOrder::OrderByKeys(const Records& records) const
{
    Keys keys(records.Count());
    for (uint32_t i = 0; i < records.Count(); ++i)
        keys.Add((records.ObjectAtIndex(i)->*text)());
    std::vector<uint32_t> order(records.Count());
    std::iota(order.begin(), order.end(), 0u);
    if (descending)
        std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) { return keys.IsLess(b, a); });
    else
        std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) { return keys.IsLess(a, b); });
    return order;
}
