#pragma once

#include <cstdint>

/// A short ASCII text prepared for being looked for in many ASCII texts, caseless or exact. Wipes itself.
class VLR_ASCIIPattern {
public:
    /// From 1 to kLongest bytes.
    VLR_ASCIIPattern(const unsigned char* bytes, uint32_t length, bool caseless);
    ~VLR_ASCIIPattern();
    VLR_ASCIIPattern(const VLR_ASCIIPattern&) = delete;
    VLR_ASCIIPattern& operator=(const VLR_ASCIIPattern&) = delete;

    uint32_t Length() const { return length; }

    /// Where the first match in [first, last) begins, or `last`. Cost: at worst the product of both lengths.
    const unsigned char* FirstIn(const unsigned char* first, const unsigned char* last) const;

    static constexpr uint32_t kLongest = 64;

private:
    const unsigned char* FirstAt(const unsigned char* first, const unsigned char* end) const;
    bool MatchesAt(const unsigned char* at) const;
    bool MayMatchInBlock(const unsigned char* first) const;

    static constexpr int kBlock = 16; // places that are looked at together

    uint32_t length;
    unsigned char bytes[kLongest];
    unsigned char compared[kLongest]; // the bits that count: for a letter of a caseless pattern all but that of its case
};
