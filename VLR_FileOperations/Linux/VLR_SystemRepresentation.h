#pragma once

#include "VLR_ASCIIPattern.h"
#include "VLR_StretchReader.h"
#include "VLR_String.h"
#include "VLR_Unicode.h"

#include <cstdint>
#include <memory>
#include <optional>

/// A text in the form in which the platform's text services work on it: what a VLR_String's handle points at.
class VLR_SystemRepresentation {
public:
    explicit VLR_SystemRepresentation(const VLR_String& text);

    /// False for bytes that are not valid UTF-8: such a text has no length, and nothing is found in it.
    bool IsValid() const { return validUnits == units.size(); }
    const VLR_UTF16& Units() const { return units; }

    /// The comparison key with its way back to the text.
    struct SearchKey {
        VLR_CodePoints codePoints;

        /// For each place in the key, its end included: where in the text the same boundary lies; kInside where none
        /// is.
        VLR_WipedVector<uint32_t> boundaries;

        /// The places in the key that have a boundary, in order.
        VLR_WipedVector<uint32_t> places;
    };

    /// What is prepared once for looking for this text in many others.
    struct SearchPattern {
        std::unique_ptr<VLR_ASCIIPattern> ascii; // null for a text that is not ASCII or too long for it
        const VLR_CodePoints* key = nullptr;
        bool keyIsASCII = false; // else no ASCII text has a match
        VLR_WipedVector<uint32_t> borders; // VLR_Borders of the key; empty for a key longer than kLongest
        std::unique_ptr<VLR_StretchBuffers> buffers; // for reading the texts

        static constexpr std::size_t kLongest = 64;
    };

    /// Both are made at the first use and kept.
    const SearchKey& Key(VLR_StringComparisonType type) const;
    const SearchPattern& Pattern(VLR_StringComparisonType type) const
    {
        const std::unique_ptr<SearchPattern>& pattern = patterns[type == VLR_StringComparisonCaseless ? 1 : 0];
        return pattern ? *pattern : KeepPattern(type);
    }

    static constexpr uint32_t kInside = 0xFFFFFFFF;

private:
    SearchKey MakeKey(VLR_StringComparisonType type) const;
    const SearchPattern& KeepPattern(VLR_StringComparisonType type) const;
    SearchPattern MakePattern(VLR_StringComparisonType type) const;

    std::size_t validUnits = 0;
    VLR_UTF16 units;
    mutable std::unique_ptr<SearchKey> keys[2]; // exact, caseless
    mutable std::unique_ptr<SearchPattern> patterns[2];
};

/// A text's platform form: the cached one, or one of this scope.
class StVLR_Representation {
public:
    explicit StVLR_Representation(const VLR_String& text)
    {
        if (text.systemRepresentation == nullptr)
            made.emplace(text);
        used = made ? &*made : static_cast<const VLR_SystemRepresentation*>(text.systemRepresentation);
    }
    StVLR_Representation(const StVLR_Representation&) = delete;
    StVLR_Representation& operator=(const StVLR_Representation&) = delete;

    const VLR_SystemRepresentation* operator->() const { return used; }
    const VLR_SystemRepresentation& operator*() const { return *used; }

private:
    std::optional<VLR_SystemRepresentation> made;
    const VLR_SystemRepresentation* used;
};

/// The platform's own failure for a range past the end of a text: std::out_of_range.
[[noreturn]] void VLR_RaiseRangeFailure();
