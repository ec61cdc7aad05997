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

uint32_t TagOf(uint64_t hash)
{
    return static_cast<uint32_t>(hash >> 32);
}

} // namespace

VLR_TextIndex::VLR_TextIndex(VLR_StringComparisonType type, uint32_t expectedCount)
    : type(type)
    , slots(SlotsFor(expectedCount))
{
    entries.reserve(slots.size() / 2);
}

uint64_t VLR_TextIndex::HashOf(const VLR_String& text) const
{
    return VLR_System::HashString(text, type);
}

void VLR_TextIndex::Add(const VLR_String& text, uint64_t hash, VLR_Object* object)
{
    if (entries.size() * 2 >= slots.size())
        Grow();
    Slot& slot = SlotFor(text, hash);
    if (slot.number != 0)
        return;
    entries.push_back({ hash, &text, object });
    slot = { TagOf(hash), static_cast<uint32_t>(entries.size()) };
}

VLR_Object* VLR_TextIndex::Find(const VLR_String& text, uint64_t hash) const
{
    const Slot& slot = const_cast<VLR_TextIndex&>(*this).SlotFor(text, hash);
    return slot.number != 0 ? entries[slot.number - 1].object : nullptr;
}

/// The slot that holds an equal text, or the free one where it would go.
VLR_TextIndex::Slot& VLR_TextIndex::SlotFor(const VLR_String& text, uint64_t hash)
{
    const std::size_t mask = slots.size() - 1;
    for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
        Slot& slot = slots[i];
        if (slot.number == 0)
            return slot;
        if (slot.tag != TagOf(hash))
            continue;
        const Entry& entry = entries[slot.number - 1];
        if (entry.hash == hash && VLR_System::CompareStrings(*entry.text, text, type) == 0)
            return slot;
    }
}

void VLR_TextIndex::Prefetch(uint64_t hash, uint32_t step) const
{
    const Slot& slot = slots[hash & (slots.size() - 1)];
    if (step == 0) {
        __builtin_prefetch(&slot);
        return;
    }
    if (slot.tag != TagOf(hash) || slot.number == 0)
        return;
    const Entry& entry = entries[slot.number - 1];
    switch (step) {
    case 1: __builtin_prefetch(&entry); break;
    case 2:
        __builtin_prefetch(entry.text);
        __builtin_prefetch(entry.text + 1); // where a record has its next text
        break;
    default: Prefetch(*entry.text); break;
    }
}

void VLR_TextIndex::Prefetch(const VLR_String& text)
{
    __builtin_prefetch(text.Bytes());
    __builtin_prefetch(text.Bytes() + text.Length()); // an identity fits into two lines of the cache
}

void VLR_TextIndex::Grow()
{
    std::vector<Slot> larger(slots.size() * 2);
    const std::size_t mask = larger.size() - 1;
    for (const Slot& slot : slots) {
        if (slot.number == 0)
            continue;
        std::size_t i = entries[slot.number - 1].hash & mask;
        while (larger[i].number != 0)
            i = (i + 1) & mask;
        larger[i] = slot;
    }
    slots.swap(larger);
    entries.reserve(slots.size() / 2);
}
