#pragma once

#include <cstdint>

class VLR_String;

/// Root of the core's reference counted classes.
///
/// A new object has count 0, a copy as well: the first holder's Retain takes it to 1. Release never destroys; the
/// holder that finds ReferenceCount() at 0 afterwards deletes the object. Objects held by value are never retained.
class VLR_Object {
public:
    VLR_Object() = default;
    VLR_Object(const VLR_Object&) { }
    VLR_Object& operator=(const VLR_Object&) { return *this; } // the count belongs to the object, not to its content
    virtual ~VLR_Object() = default;

    /// The object as text; the empty string unless a class says otherwise.
    virtual VLR_String AsString() const;

    /// Orders this object against `other`: negative, 0 or positive.
    /// Raises: kUnimplementedVirtual unless a class overrides it.
    virtual int32_t Compare(const VLR_Object* other) const;

    VLR_Object* Retain();

    /// Raises: kReferenceCountCorrupted at count 0, which stays 0.
    void Release();

    uint32_t ReferenceCount() const { return referenceCount; }

    static constexpr char kReferenceCountCorrupted[] = "Reference count corrupted.";
    static constexpr char kUnimplementedVirtual[] = "unimplemented virtual method!";

private:
    uint32_t referenceCount = 0;
};

/// Holds a reference for the length of a scope, so that no list deletes the object meanwhile. Leaves its end to others.
class StVLR_Retained {
public:
    explicit StVLR_Retained(VLR_Object& object)
        : object(object)
    {
        object.Retain();
    }
    ~StVLR_Retained() { object.Release(); } // NOLINT(bugprone-exception-escape): never at count 0, since it holds one
    StVLR_Retained(const StVLR_Retained&) = delete;
    StVLR_Retained& operator=(const StVLR_Retained&) = delete;

private:
    VLR_Object& object;
};
