#pragma once

#include <cstdint>
#include <vector>

class VLR_String;

/// Keeps the platform form of texts that many comparisons meet, so that each is built once and a long one costs no more
/// than a short one to tell apart. Drops them all when it goes, also those kept before a failure.
///
/// Short and ASCII texts, which identities and categories as a rule are, compare without one and get none. The texts
/// are borrowed: they must live, and stay as they are, as long as this object does.
class StVLR_TextRepresentations {
public:
    StVLR_TextRepresentations() = default;
    ~StVLR_TextRepresentations();
    StVLR_TextRepresentations(const StVLR_TextRepresentations&) = delete;
    StVLR_TextRepresentations& operator=(const StVLR_TextRepresentations&) = delete;

    /// Leaves a text alone that has a representation already: its holder drops it.
    void Keep(const VLR_String& text);

private:
    static constexpr uint32_t kLongestCheapText = 64; // bytes

    std::vector<const VLR_String*> kept;
};
