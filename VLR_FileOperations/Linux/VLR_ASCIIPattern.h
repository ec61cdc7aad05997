#pragma once

#include <cstdint>

/// A short ASCII text prepared for being looked for in the bytes of many texts, caseless or exact. Wipes itself.
class VLR_ASCIIPattern {
public:
    /// From 1 to kLongest bytes.
    VLR_ASCIIPattern(const unsigned char* bytes, uint32_t length, bool caseless);
    ~VLR_ASCIIPattern();
    VLR_ASCIIPattern(const VLR_ASCIIPattern&) = delete;
    VLR_ASCIIPattern& operator=(const VLR_ASCIIPattern&) = delete;

    uint32_t Length() const { return length; }

    /// Whether characters beyond ASCII may stand for a part of it (VLR_Unicode::HoldsEquivalentOfASCII).
    bool MayHaveEquivalents() const { return mayHaveEquivalents; }

    /// Where the first match in [first, last) begins, or `last`. Bytes beyond ASCII match none of the pattern's. Cost:
    /// at
    /// worst the product of both lengths.
    const unsigned char* FirstIn(const unsigned char* first, const unsigned char* last) const;

    static constexpr uint32_t kLongest = 64;

private:
    // Places where a match may begin are looked at a word at a time: whether at any of them first and last byte fit.
    static constexpr int kBlock = 16; // bytes of the longest word

    const unsigned char* FirstAt(const unsigned char* first, const unsigned char* end, const unsigned char* none) const;
    bool MatchesAt(const unsigned char* at) const;
    template <class Word>
    const unsigned char* FirstByWords(const unsigned char* first, const unsigned char* last) const;
    template <class Word>
    bool MayMatchIn(const unsigned char* first) const;

    uint32_t length;
    bool mayHaveEquivalents = false;
    unsigned char bytes[kLongest];
    unsigned char
        compared[kLongest]; // the bits that count: for a letter of a caseless pattern all but that of its case

    // The pattern's first and last byte, each for all places of a word.
    unsigned char firstByte[kBlock];
    unsigned char firstCompared[kBlock];
    unsigned char lastByte[kBlock];
    unsigned char lastCompared[kBlock];
};
