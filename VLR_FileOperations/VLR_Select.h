#pragma once

#include "VLR_Array.h"
#include "VLR_Comparator.h"
#include "VLR_PodBlock.h"

#include <cstdint>
#include <optional>

class VLR_Document;
class VLR_PasswordData;

/// A key as a front end hands it over. The unit of `timeStamp` is the front end's; 41 of them are a typing pause.
struct VLR_KeyEvent {
    uint16_t uniChar = 0; // UTF-16 unit, if isUniChar
    uint32_t timeStamp = 0;
    bool tabAllowA = false; // a forward Tab counts if tabAllowA and tabAllowB agree
    bool downArrow = false;
    bool upArrow = false;
    bool ignoreKey = false;
    bool tabKey = false;
    bool isUniChar = false;
    bool shiftKey = false;
    bool tabAllowB = false;
    bool downArrowVeto = false; // refuses a down arrow
};

/// Objects by their addresses: a search with it finds an object itself, never an equal one.
class VLR_AddressComparator final : public VLR_Comparator {
public:
    bool IsLessThan(const VLR_Object* a, const VLR_Object* b) const override;
    bool IsEqual(const VLR_Object* a, const VLR_Object* b) const override;
};

/// Which records of a document are selected, and what keys do to that. No user interface, no locks.
///
/// The selection itself is the flag of each record. Selecting works on all records of the document, reading the
/// selection on its viewable ones; a row is an index of the viewable list. A front end calls RebuildTypeAheadIndex
/// after each change of the viewable list, before the next key.
class VLR_Select {
public:
    /// The document owns this object.
    explicit VLR_Select(VLR_Document& document);
    VLR_Select(const VLR_Select&) = delete;
    VLR_Select& operator=(const VLR_Select&) = delete;

    // Keys. True: the key was used.

    /// Takes the viewable records as they are now, in the order of their titles, for Tab and typed characters.
    void RebuildTypeAheadIndex();

    /// Handles Tab and typed characters. Arrows are the front end's own call: they only keep a typing run alive.
    /// Raises: "Out of range" for a typed character or a forward Tab without an index.
    bool ProcessKeyEvent(VLR_KeyEvent& event);

    /// Selects the record of the next title, with shift the previous, and goes round at the ends.
    bool ProcessTabKeyPrivate(VLR_KeyEvent& event);

    /// Selects the first title at or behind the characters typed without a pause, else the last. It need not begin with
    /// them. Always true.
    /// Cost: a binary search, or a walk if any record has been edited since the index was made.
    bool ProcessUniCharPrivate(VLR_KeyEvent& event);

    /// Makes this record alone the selection, and the anchor of ranges; one that is not viewable leaves no anchor.
    void ProcessSelectOneRecordPrivate(VLR_PasswordData& record);

    /// Selects the row below or above, with shift the range from the anchor to there. Stays at the ends.
    /// Raises: "Out of range" if there is no row to select.
    bool ProcessArrowKeyPrivate(VLR_KeyEvent& event);

    // Selection

    void DeselectAll();
    void SelectAll();

    /// The selected records among the viewable ones.
    VLR_Array<VLR_PasswordData> Selection() const;

    /// The first selected row, or the last one; kNoRow if none is.
    uint32_t SelectedVisibleRow(bool fromEnd) const;
    void SetSelection(VLR_Array<VLR_PasswordData>& records);

    // The latch: a set of records remembered over an operation

    void LatchViewableItems();
    void LatchSelectedItems();
    void LatchItem(VLR_PasswordData* record);

    /// Selects the records of the document that the latch does not hold, and empties it.
    void SelectNewItemsSinceLatch();

    /// Selects what the latch holds, and empties it.
    void SelectLatchedItems();
    void ResetLatch();
    const VLR_Array<VLR_PasswordData>& Latch() const { return latch; }

    static constexpr uint32_t kNoRow = 0xFFFFFFFF;

private:
    VLR_PasswordData* FirstTitleFrom(const VLR_String& prefix) const;
    uint32_t TabTarget(const VLR_KeyEvent& event, uint32_t position) const;
    int32_t ArrowTarget(const VLR_KeyEvent& event, int32_t row) const;
    void SelectRows(int32_t first, int32_t last);

    int32_t anchorRow = 0; // the fixed end of a range that grows with shift and an arrow
    int32_t activeRow = 0; // its moving end
    VLR_Document& document;
    VLR_Array<VLR_PasswordData> typeAheadIndex; // in ascending order of title
    VLR_PodBlock<unsigned short> typedCharacters;
    uint32_t lastKeyTime = 0;
    VLR_Array<VLR_PasswordData> latch;
    std::optional<uint64_t> titlesAsIndexed; // VLR_PasswordData::TitleChanges() of an index in order of titles
};
