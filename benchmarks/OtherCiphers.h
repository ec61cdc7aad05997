#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

/// The same cipher in another library: electronic codebook under a fixed key, whole blocks.
struct OtherCipher {
    using Work = std::function<void(const unsigned char* in, unsigned char* out, std::size_t length)>;

    std::string name;
    std::string absence; // why there is nothing to compare with; empty if there is
    Work encipher;
    Work decipher;
    std::function<void()> setUpKey; // from nothing to a cipher that is ready
};

/// One entry for each library, in a fixed order, those that weren't found when this was built with an absence.
std::vector<OtherCipher> otherCiphers(const std::string& key);
