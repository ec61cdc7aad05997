#pragma once

#include "VLR_Array.h"
#include "VLR_PasswordData.h"

#include <cstdint>
#include <vector>

class VLR_Document;

/// Puts a document's sort order aside for the length of a scope.
class StVLR_SortParams {
public:
    explicit StVLR_SortParams(VLR_Document& document);
    ~StVLR_SortParams();
    StVLR_SortParams(const StVLR_SortParams&) = delete;
    StVLR_SortParams& operator=(const StVLR_SortParams&) = delete;

private:
    VLR_Document& document;
    const uint32_t sortParams;
};

/// Sorts lists of records as VLR_ObjectArray::Sort with VLR_PasswordDataComparator would, but folds each text once.
///
/// Folding stands for the comparisons where all records are of one document that deciphers and the field is a text;
/// else the comparisons themselves decide. The keys are wiped with the memory that they lie in.
class VLR_RecordOrder {
public:
    /// The present sort order of `document`.
    explicit VLR_RecordOrder(const VLR_Document& document);

    /// Stable. True if the order is that of folded texts.
    /// Raises: the failures of VLR_PasswordData::Compare, with the list as it was.
    bool Sort(VLR_Array<VLR_PasswordData>& records) const;

    /// Sorts both, at once if they hold the same records in the same order.
    void Sort(VLR_Array<VLR_PasswordData>& records, VLR_Array<VLR_PasswordData>& others) const;

private:
    using Text = const VLR_String& (VLR_PasswordData::*)() const;

    bool HasKeysFor(const VLR_Array<VLR_PasswordData>& records) const;
    std::vector<uint32_t> OrderByKeys(const VLR_Array<VLR_PasswordData>& records) const;

    const VLR_Document& document;
    Text text = nullptr; // null for dates, for fields that there are not, and without deciphered texts
    bool descending = false;
};
