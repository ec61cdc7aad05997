#pragma once

#include "VLR_MemoryBlock.h"
#include "VLR_Object.h"
#include "VLR_String.h"

#include <cstdint>
#include <vector>

class VLR_Comparator;

/// An ordered list of objects, one reference held to each.
///
/// Dropping a reference deletes the object when nobody else holds it, so an object made with `new` and put into an
/// array is the array's to delete. Null elements are legal only for operations that drop references.
class VLR_ObjectArray : public VLR_Object {
public:
    VLR_ObjectArray() = default;
    VLR_ObjectArray(const VLR_ObjectArray& other);
    VLR_ObjectArray(const VLR_ObjectArray& other, uint32_t start, uint32_t n);
    ~VLR_ObjectArray() override;

    /// Assigning an array to itself loses its elements: the old ones go first.
    VLR_ObjectArray& operator=(const VLR_ObjectArray& other);
    void CopyFrom(const VLR_ObjectArray& other);

    /// Raises: kOutOfRange if `start` + `n` passes the other's count, with the old elements in place.
    void CopyFrom(const VLR_ObjectArray& other, uint32_t start, uint32_t n);

    uint32_t Count() const { return count; }
    bool IsEmpty() const { return count == 0; }

    /// The pointers themselves, for code that walks them; null for an array that never held anything.
    VLR_Object* const* Base() const;

    /// Borrowed. Raises: kOutOfRange, as do the setters and RemoveObjectAtIndex.
    VLR_Object* ObjectAtIndex(uint32_t index) const;

    /// Retains `object`, which may not be null. Cost: constant on average.
    void AppendObject(VLR_Object* object);
    void AppendObjectsFrom(const VLR_ObjectArray& other);
    void SetObjectAtIndex(VLR_Object* object, uint32_t index);
    void RemoveObjectAtIndex(uint32_t index);

    /// Removes the first element that is this very object; nothing happens if there is none.
    void RemoveObject(VLR_Object* object);

    /// RemoveObject for each element of `others`, in one walk over both.
    void RemoveObjects(const VLR_ObjectArray& others);
    void RemoveAll();

    /// First index whose element is equal (asked as IsEqual(object, element)), or kNotFound. Linear.
    uint32_t IndexOf(const VLR_Object& object, const VLR_Comparator& comparator) const;
    bool Contains(const VLR_Object& object, const VLR_Comparator& comparator) const;
    VLR_ObjectArray Find(const VLR_Object& object, const VLR_Comparator& comparator, bool firstOnly) const;

    /// The elements' AsString, joined. An element type that does not override AsString adds the empty string.
    VLR_String ComponentsJoinedByString(const VLR_String& separator) const;

    /// Puts the element that stands at `order[i]` at i. `order` must hold each index once. Raises: kOutOfRange.
    void Reorder(const std::vector<uint32_t>& order);

    /// A number that differs after each change of the list, for indexes of it.
    uint64_t Changes() const { return changes; }

    /// Stable. The comparator must be a strict weak ordering; if it raises, the order stays as it was. Where there is no
    /// memory for a second list of pointers it takes longer, O(n log^2 n), and a comparator that raises leaves all
    /// elements in some order.
    void Sort(const VLR_Comparator& comparator);

    static constexpr uint32_t kNotFound = 0xFFFFFFFF;
    static constexpr char kOutOfRange[] = "Out of range";

private:
    VLR_Object** Elements();
    void GrowByOne();
    static void DropReference(VLR_Object* object);

    VLR_MemoryBlock storage;
    uint32_t count = 0;
    uint64_t changes = 0;
};

/// The typed face of VLR_ObjectArray.
template <class T>
class VLR_Array : public VLR_ObjectArray {
public:
    using VLR_ObjectArray::VLR_ObjectArray;
    VLR_Array() = default;

    T* ObjectAtIndex(uint32_t index) const { return static_cast<T*>(VLR_ObjectArray::ObjectAtIndex(index)); }
    void AppendObject(T* object) { VLR_ObjectArray::AppendObject(object); }
    void SetObjectAtIndex(T* object, uint32_t index) { VLR_ObjectArray::SetObjectAtIndex(object, index); }
    void RemoveObject(T* object) { VLR_ObjectArray::RemoveObject(object); }
};
