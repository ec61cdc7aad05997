#pragma once

#include "VLR_CharacterSet.h"

#include <cstdint>
#include <vector>

class VLR_Object;
class VLR_String;

/// Answers what a scan of a list for the first object with an equal text would answer, without the scan.
///
/// Texts are equal as VLR_System::CompareStrings finds them. Texts and objects are borrowed: they must live, and the
/// texts stay as they are, as long as the index is used.
/// Cost: linear in the text on average, whatever texts a file brings (VLR_System::HashString is keyed).
class VLR_TextIndex {
public:
    VLR_TextIndex(VLR_StringComparisonType type, uint32_t expectedCount);

    /// Adds an object behind those already there: an equal text that is there keeps its object.
    void Add(const VLR_String& text, VLR_Object* object);

    /// The first object added with an equal text, or null.
    VLR_Object* Find(const VLR_String& text) const;

private:
    struct Slot {
        uint64_t hash = 0;
        const VLR_String* text = nullptr; // null in a free slot
        VLR_Object* object = nullptr;
    };

    const Slot& SlotFor(const VLR_String& text, uint64_t hash) const;
    void Grow();

    VLR_StringComparisonType type;
    uint32_t used = 0;
    std::vector<Slot> slots; // a power of two of them, at least half of them free
};
