#pragma once

#include "VLR_Array.h"
#include "VLR_PasswordData.h"
#include "VLR_TextIndex.h"

#include <cstdint>
#include <optional>

/// Finds the first record of a list by its exact title.
///
/// Walks the list for the first few questions after a change of the list or of any title, and answers further ones from
/// an index, so that a single question costs no index and many cost no walk each.
class VLR_TitleIndex {
public:
    explicit VLR_TitleIndex(const VLR_Array<VLR_PasswordData>& records)
        : records(records)
    {
    }

    /// Null if no record has the title. Cost: constant on average in the number of records for repeated questions.
    VLR_PasswordData* Find(const VLR_String& title);

private:
    void ForgetAfterChanges();
    void MakeIndex();
    VLR_PasswordData* Walk(const VLR_String& title) const;

    static constexpr uint32_t kWalksBeforeIndex = 4;

    const VLR_Array<VLR_PasswordData>& records;
    uint64_t listChanges = 0;
    uint64_t titleChanges = 0;
    uint32_t walks = 0;
    std::optional<VLR_TextIndex> index; // borrows titles: used only while nothing has changed
};
