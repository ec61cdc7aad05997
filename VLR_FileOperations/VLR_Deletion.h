#pragma once

#include "VLR_Comparator.h"
#include "VLR_String.h"

#include <cstdint>

/// An entry of a document's deletion list: a UUID that no longer stands for a live record there, because the record was
/// deleted or because an edit gave it another. Shared by two documents after a merge.
class VLR_Deletion : public VLR_Object {
public:
    VLR_Deletion(const VLR_String& uuid, uint16_t checksum);

    /// Caseless comparison of the UUIDs alone, unlike that of records, which is exact: merges rely on both.
    int32_t Compare(const VLR_Object* other) const override;

    VLR_String uuid;
    uint16_t checksum; // of the record at the moment of deletion; shown, compared by nothing
};

/// Deletion entries by their Compare.
class VLR_DeletionComparator final : public VLR_Comparator {
public:
    bool IsLessThan(const VLR_Object* a, const VLR_Object* b) const override;
    bool IsEqual(const VLR_Object* a, const VLR_Object* b) const override;
};
