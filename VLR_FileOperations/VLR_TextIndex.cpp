#include "VLR_TextIndex.h"

#include "VLR_String.h"
#include "VLR_System.h"

#include <algorithm>
#include <bit>

namespace {

constexpr std::size_t kFewestSlots = 16;

std::size_t SlotsFor(std::size_t count)
{
    return std::bit_ceil(std::max(kFewestSlots, 2 * count));
}

} // namespace

VLR_TextIndex::VLR_TextIndex(VLR_StringComparisonType type, uint32_t expectedCount)
    : type(type)
    , slots(SlotsFor(expectedCount))
{
}

void VLR_TextIndex::Add(const VLR_String& text, VLR_Object* object)
{
    if (std::size_t { used } * 2 >= slots.size())
        Grow();
    const uint64_t hash = VLR_System::HashString(text, type);
    auto& slot = const_cast<Slot&>(SlotFor(text, hash));
    if (slot.text != nullptr)
        return;
    slot = { hash, &text, object };
    ++used;
}

VLR_Object* VLR_TextIndex::Find(const VLR_String& text) const
{
    return SlotFor(text, VLR_System::HashString(text, type)).object;
}

/// The slot that holds an equal text, or the free one where it would go.
const VLR_TextIndex::Slot& VLR_TextIndex::SlotFor(const VLR_String& text, uint64_t hash) const
{
    const std::size_t mask = slots.size() - 1;
    for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
        const Slot& slot = slots[i];
        if (slot.text == nullptr)
            return slot;
        if (slot.hash == hash && VLR_System::CompareStrings(*slot.text, text, type) == 0)
            return slot;
    }
}

void VLR_TextIndex::Grow()
{
    std::vector<Slot> old(slots.size() * 2);
    old.swap(slots);
    const std::size_t mask = slots.size() - 1;
    for (const Slot& slot : old) {
        if (slot.text == nullptr)
            continue;
        std::size_t i = slot.hash & mask;
        while (slots[i].text != nullptr)
            i = (i + 1) & mask;
        slots[i] = slot;
    }
}
