#pragma once

class VLR_Object;

/// How arrays find and sort. An implementation knows the class of the objects that it is given.
class VLR_Comparator {
public:
    virtual bool IsLessThan(const VLR_Object* a, const VLR_Object* b) const = 0;
    virtual bool IsEqual(const VLR_Object* a, const VLR_Object* b) const = 0;

protected:
    ~VLR_Comparator() = default; // comparators are values; nobody owns one by its base
};

/// Strings, exact.
class VLR_StringComparator final : public VLR_Comparator {
public:
    bool IsLessThan(const VLR_Object* a, const VLR_Object* b) const override;
    bool IsEqual(const VLR_Object* a, const VLR_Object* b) const override;
};

/// Strings, caseless.
class VLR_StringComparatorCaseInsensitive final : public VLR_Comparator {
public:
    bool IsLessThan(const VLR_Object* a, const VLR_Object* b) const override;
    bool IsEqual(const VLR_Object* a, const VLR_Object* b) const override;
};

/// Hands a comparator to a sorting routine.
class VLR_ObjectComparator {
public:
    explicit VLR_ObjectComparator(const VLR_Comparator& comparator)
        : comparator(comparator)
    {
    }
    bool operator()(const VLR_Object* a, const VLR_Object* b) const { return comparator.IsLessThan(a, b); }

private:
    const VLR_Comparator& comparator;
};
