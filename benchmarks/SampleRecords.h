#pragma once

#include "VLR_Document.h"

#include <cstdint>
#include <random>
#include <string>

/// A document with deciphered records of words, as people have them, 5 of 100 texts with characters beyond ASCII. The
/// same ones each time.
class SampleRecords {
public:
    explicit SampleRecords(uint32_t count);

    /// The same order each time, neither sorted nor nearly so.
    void shuffle();

    static VLR_String text(const std::string& utf8) { return VLR_String(utf8.c_str(), VLR_CharacterSetUTF8); }

    VLR_Document document { VLR_DocumentReadDecrypted };

private:
    VLR_String phrase(int words);

    std::mt19937 random { 7 };
};
