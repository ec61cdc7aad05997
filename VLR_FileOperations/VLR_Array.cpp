#include "VLR_Array.h"

#include "VLR_Comparator.h"
#include "VLR_Exception.h"
#include "VLR_System.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <unordered_map>

namespace {

constexpr uint32_t kPointerSize = sizeof(void*);
constexpr uint32_t kMaxCount = std::numeric_limits<uint32_t>::max() / kPointerSize;

/// A count too large for any block becomes a length that no allocation can grant.
uint32_t StorageLengthFor(uint32_t count)
{
    return count > kMaxCount ? std::numeric_limits<uint32_t>::max() : count * kPointerSize;
}

/// Two sorted stretches, one behind the other. What a comparison sees is always in the list.
void MergeInPlace(VLR_Object** first, VLR_Object** middle, VLR_Object** last, const VLR_ObjectComparator& isLess)
{
    if (first == middle || middle == last)
        return;
    if (last - first == 2) {
        if (isLess(*middle, *first))
            std::swap(*first, *middle);
        return;
    }
    const bool isFirstLonger = middle - first > last - middle;
    VLR_Object** leftCut = first + (middle - first) / 2;
    VLR_Object** rightCut = middle + (last - middle) / 2;
    if (isFirstLonger)
        rightCut = std::lower_bound(middle, last, *leftCut, isLess);
    else
        leftCut = std::upper_bound(first, middle, *rightCut, isLess);
    VLR_Object** const newMiddle = std::rotate(leftCut, middle, rightCut);
    MergeInPlace(first, leftCut, newMiddle, isLess);
    MergeInPlace(newMiddle, rightCut, last, isLess);
}

/// Stable, without any memory.
void SortInPlace(VLR_Object** first, VLR_Object** last, const VLR_ObjectComparator& isLess)
{
    if (last - first < 2)
        return;
    VLR_Object** const middle = first + (last - first) / 2;
    SortInPlace(first, middle, isLess);
    SortInPlace(middle, last, isLess);
    MergeInPlace(first, middle, last, isLess);
}

} // namespace

VLR_ObjectArray::VLR_ObjectArray(const VLR_ObjectArray& other)
    : VLR_Object(other)
{
    CopyFrom(other);
}

VLR_ObjectArray::VLR_ObjectArray(const VLR_ObjectArray& other, uint32_t start, uint32_t n)
{
    CopyFrom(other, start, n);
}

VLR_ObjectArray::~VLR_ObjectArray()
{
    // Only a damaged count or guard raises here; it has logged itself, and a destructor can't pass it on.
    try {
        RemoveAll();
    } catch (...) {
        return;
    }
}

VLR_ObjectArray& VLR_ObjectArray::operator=(const VLR_ObjectArray& other)
{
    CopyFrom(other);
    return *this;
}

void VLR_ObjectArray::CopyFrom(const VLR_ObjectArray& other)
{
    CopyFrom(other, 0, other.count);
}

void VLR_ObjectArray::CopyFrom(const VLR_ObjectArray& other, uint32_t start, uint32_t n)
{
    if (start > other.count || n > other.count - start)
        VLR_RAISE(kOutOfRange);
    RemoveAll();
    if (&other == this)
        return;
    storage.Resize(StorageLengthFor(n));
    count = n;
    for (uint32_t i = 0; i < n; ++i) {
        VLR_Object* const object = other.Base()[start + i];
        if (object != nullptr)
            object->Retain();
        Elements()[i] = object;
    }
}

VLR_Object* const* VLR_ObjectArray::Base() const
{
    return reinterpret_cast<VLR_Object* const*>(storage.Bytes());
}

VLR_Object* VLR_ObjectArray::ObjectAtIndex(uint32_t index) const
{
    if (index >= count)
        VLR_RAISE(kOutOfRange);
    return Base()[index];
}

void VLR_ObjectArray::AppendObject(VLR_Object* object)
{
    GrowByOne();
    Elements()[count - 1] = object;
    object->Retain();
}

void VLR_ObjectArray::AppendObjectsFrom(const VLR_ObjectArray& other)
{
    const uint32_t otherCount = other.count; // read once: the other array may be this one
    for (uint32_t i = 0; i < otherCount; ++i)
        AppendObject(other.Base()[i]);
}

void VLR_ObjectArray::SetObjectAtIndex(VLR_Object* object, uint32_t index)
{
    if (index >= count)
        VLR_RAISE(kOutOfRange);
    object->Retain(); // before the old one goes: both may be the same object
    DropReference(Elements()[index]);
    Elements()[index] = object;
}

void VLR_ObjectArray::RemoveObjectAtIndex(uint32_t index)
{
    if (index >= count)
        VLR_RAISE(kOutOfRange);
    DropReference(Elements()[index]);
    VLR_Object** const gap = Elements() + index;
    VLR_System::MemCopy(gap, gap + 1, (count - index - 1) * kPointerSize);
    Elements()[count - 1] = nullptr;
    --count;
    storage.Resize(count * kPointerSize);
}

void VLR_ObjectArray::RemoveObject(VLR_Object* object)
{
    VLR_Object** const end = Elements() + count;
    VLR_Object** const found = std::find(Elements(), end, object);
    if (found != end)
        RemoveObjectAtIndex(static_cast<uint32_t>(found - Elements()));
}

void VLR_ObjectArray::RemoveObjects(const VLR_ObjectArray& others)
{
    std::unordered_map<const VLR_Object*, uint32_t> timesToRemove;
    for (uint32_t i = 0; i < others.count; ++i)
        ++timesToRemove[others.Base()[i]];
    if (timesToRemove.empty())
        return;

    uint32_t kept = 0;
    for (uint32_t i = 0; i < count; ++i) {
        VLR_Object* const object = Elements()[i];
        const auto found = timesToRemove.find(object);
        if (found != timesToRemove.end() && found->second > 0) {
            --found->second;
            DropReference(object);
        } else {
            Elements()[kept++] = object;
        }
    }
    count = kept;
    storage.Resize(count * kPointerSize);
}

void VLR_ObjectArray::RemoveAll()
{
    for (uint32_t i = 0; i < count; ++i)
        DropReference(Elements()[i]);
    count = 0;
    storage.Resize(0);
}

uint32_t VLR_ObjectArray::IndexOf(const VLR_Object& object, const VLR_Comparator& comparator) const
{
    for (uint32_t i = 0; i < count; ++i) {
        if (comparator.IsEqual(&object, Base()[i]))
            return i;
    }
    return kNotFound;
}

bool VLR_ObjectArray::Contains(const VLR_Object& object, const VLR_Comparator& comparator) const
{
    return static_cast<int32_t>(IndexOf(object, comparator)) >= 0;
}

VLR_ObjectArray VLR_ObjectArray::Find(const VLR_Object& object, const VLR_Comparator& comparator, bool firstOnly) const
{
    VLR_ObjectArray found;
    for (uint32_t i = 0; i < count; ++i) {
        if (!comparator.IsEqual(&object, Base()[i]))
            continue;
        found.AppendObject(Base()[i]);
        if (firstOnly)
            break;
    }
    return found;
}

VLR_String VLR_ObjectArray::ComponentsJoinedByString(const VLR_String& separator) const
{
    VLR_MemoryBlock joined;
    for (uint32_t i = 0; i < count; ++i) {
        if (i > 0)
            joined.AppendPiece(separator);
        joined.AppendPiece(Base()[i]->AsString());
    }
    return VLR_String(joined, VLR_CharacterSetUTF8);
}

void VLR_ObjectArray::Sort(const VLR_Comparator& comparator)
{
    const VLR_ObjectComparator isLess(comparator);
    const std::unique_ptr<VLR_Object*[]> sorted(new (std::nothrow) VLR_Object*[count]);
    if (!sorted) {
        SortInPlace(Elements(), Elements() + count, isLess);
        return;
    }
    std::copy_n(Base(), count, sorted.get()); // a comparison may fail half way
    std::stable_sort(sorted.get(), sorted.get() + count, isLess);
    std::copy_n(sorted.get(), count, Elements());
}

void VLR_ObjectArray::Reorder(const std::vector<uint32_t>& order)
{
    if (order.size() != count)
        VLR_RAISE(kOutOfRange);
    std::vector<VLR_Object*> reordered(count);
    std::transform(order.begin(), order.end(), reordered.begin(), [this](uint32_t i) { return ObjectAtIndex(i); });
    std::copy(reordered.begin(), reordered.end(), Elements());
}

VLR_Object** VLR_ObjectArray::Elements()
{
    ++changes; // who asks for them changes them
    return reinterpret_cast<VLR_Object**>(storage.Bytes());
}

void VLR_ObjectArray::GrowByOne()
{
    if (count > 0)
        storage.ReserveForAppend(kPointerSize);
    storage.Resize(StorageLengthFor(count + 1));
    ++count;
}

void VLR_ObjectArray::DropReference(VLR_Object* object)
{
    if (object == nullptr)
        return;
    object->Release();
    if (object->ReferenceCount() == 0)
        delete object;
}
