#pragma once

#include "VLR_CharacterSet.h"
#include "VLR_MemoryBlock.h"
#include "VLR_PodBlock.h"
#include "VLR_Range.h"

template <class T>
class VLR_Array;

/// The text of the core: UTF-8 in a memory block, and so wiped like any other block.
///
/// Comparison and search work on the text's characters: no locale, code point order, canonically equivalent texts are
/// equal, and caseless means full case folding. Bytes that are not valid UTF-8 are kept as they are; in comparisons
/// each of them stands for itself, so that different bytes never compare equal, and a search never finds anything in
/// them.
class VLR_String : public VLR_MemoryBlock {
public:
    VLR_String() = default;

    /// Converts a terminated text; null gives the empty string. A UTF-16 text with terminator ends at the first pair
    /// whose first byte is zero: callers hand over platform buffers that rely on it.
    VLR_String(const char* text, VLR_CharacterSetType set);

    VLR_String(const VLR_MemoryBlock& block, VLR_CharacterSetType set);

    /// Copies the block. A cached representation stays with the string that has it: a second string with the same
    /// handle would release it under the first one's feet.
    VLR_String(const VLR_String& other)
        : VLR_MemoryBlock(other)
    {
    }
    VLR_String& operator=(const VLR_String& other);

    VLR_String AsString() const override;

    /// Exact comparison: -1, 0 or 1. `other` is taken to be a VLR_String.
    int32_t Compare(const VLR_Object* other) const override;
    int32_t CompareCaseless(const VLR_Object* other) const;
    bool IsEqualCaseless(const VLR_Object* other) const;

    /// Drops the cached representation.
    void MemoryBlockChanged() override;

    /// The text in another encoding. It ends at the first character that `set` cannot express.
    VLR_MemoryBlock EncodedBlock(VLR_CharacterSetType set) const;

    /// Caseless, unlike HasPrefix and HasSuffix. The empty text is never contained.
    bool Contains(const VLR_String& text) const;

    /// Exact. The lengths in bytes are used as lengths in code units: with text that is not ASCII a different stretch
    /// is compared, or none, which answers false; callers ask about ASCII affixes only.
    bool HasPrefix(const VLR_String& other) const;
    bool HasSuffix(const VLR_String& other) const;

    /// Strips blanks and tabs, by byte positions used as code unit positions, like HasPrefix.
    void StripLeadingAndTrailingSpaces();

    /// Fills `ranges` with the caseless matches of `search`, which do not overlap; answers their number.
    uint32_t FindAllRanges(const VLR_String& search, VLR_PodBlock<VLR_Range>& ranges);

    /// Replaces all caseless matches; answers their number. Without a match the string and its storage stay.
    uint32_t ReplaceAll(const VLR_String& search, const VLR_String& replacement);

    /// The text between the first `startTag` and the first `endTag`, found caseless; empty if either is missing.
    /// Raises: kTagsOutOfOrder; code VLR_ExceptionInternal for tags that overlap, as equal ones always do.
    VLR_String ExtractBetween(const VLR_String& startTag, const VLR_String& endTag) const;

    /// Replaces the same stretch with its tags, which ExtractBetween leaves out. Nothing changes if either is missing.
    /// Raises: kTagsOutOfOrder.
    void ReplaceBetween(const VLR_String& startTag, const VLR_String& endTag, const VLR_String& replacement);

    /// Removes U+2022, U+00B6, U+00A7, U+221E and U+00AB.
    void RemoveAutotypingCharacters();

    /// The pieces between caseless matches of `separator`, at least one; an empty separator never matches.
    /// Raises: the platform's range failure for text that is not ASCII (a byte length is used as code units).
    VLR_Array<VLR_String> ArrayOfComponentsSeparatedByString(const VLR_String& separator) const;

    /// For use in a debugger: "<empty>", or a terminated copy that is never freed.
    const char* Debug() const;

    /// The text in platform form, kept for repeated searches; null unless a StVLR_AutoSystemRepresentation holds it.
    /// It is dropped by Resize(0) and assignment, not by Append or direct writes.
    mutable void* systemRepresentation = nullptr;

    /// Gives the representation back, if there is one.
    void DropRepresentation() const;

    static constexpr char kTagsOutOfOrder[] = "tags out of order";

private:
    bool HasAffixAt(uint32_t location, const VLR_String& other) const;
};

/// Keeps a string's platform form while in scope, so that a loop of searches builds it once. A nested guard leaves the
/// representation of the outer guard alone.
class StVLR_AutoSystemRepresentation {
public:
    explicit StVLR_AutoSystemRepresentation(const VLR_String& text);
    ~StVLR_AutoSystemRepresentation();
    StVLR_AutoSystemRepresentation(const StVLR_AutoSystemRepresentation&) = delete;
    StVLR_AutoSystemRepresentation& operator=(const StVLR_AutoSystemRepresentation&) = delete;

private:
    const VLR_String& text;
    const bool wasThere;
};
