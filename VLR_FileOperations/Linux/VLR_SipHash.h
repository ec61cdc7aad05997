#pragma once

#include <cstdint>

/// SipHash-2-4, the keyed hash for tables whose keys come from files.
class VLR_SipHash {
public:
    VLR_SipHash(uint64_t key0, uint64_t key1);

    void Add(unsigned char byte);
    uint64_t Finish();

private:
    void Mix(uint64_t word);
    void Round();

    uint64_t v0, v1, v2, v3;
    uint64_t word = 0; // the bytes not yet mixed in, first byte lowest
    uint64_t length = 0;
};
