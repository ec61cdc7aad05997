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

    /// What Add and Find begin with. Who asks more than once for a text can keep it and pass it on.
    uint64_t HashOf(const VLR_String& text) const;

    /// Adds an object behind those already there: an equal text that is there keeps its object.
    void Add(const VLR_String& text, VLR_Object* object) { Add(text, HashOf(text), object); }
    void Add(const VLR_String& text, uint64_t hash, VLR_Object* object);

    /// The first object added with an equal text, or null.
    VLR_Object* Find(const VLR_String& text) const { return Find(text, HashOf(text)); }
    VLR_Object* Find(const VLR_String& text, uint64_t hash) const;

    /// For a walk over many texts: asks memory for what a later Find with this hash will look at, so that it need not
    /// wait. Each step needs that the one before has arrived: the walk does step 0 for a text far ahead, step 1 for a
    /// nearer one, and so on. Changes nothing.
    void Prefetch(uint64_t hash, uint32_t step) const;
    static constexpr uint32_t kPrefetchSteps = 4;

    /// The same for the bytes of a text that is not too long.
    static void Prefetch(const VLR_String& text);

private:
    struct Entry {
        uint64_t hash;
        const VLR_String* text;
        VLR_Object* object;
    };

    /// Small, so that many are near the processor. Most texts that differ are told apart by the tag.
    struct Slot {
        uint32_t tag = 0; // the upper half of the hash
        uint32_t number = 0; // of the entry, from 1; 0 in a free slot
    };

    Slot& SlotFor(const VLR_String& text, uint64_t hash);
    void Grow();

    VLR_StringComparisonType type;
    std::vector<Entry> entries; // in the order in which they were added
    std::vector<Slot> slots; // a power of two of them, at least half of them free
};
