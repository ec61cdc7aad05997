#pragma once

#include <cstdint>

/// SipHash-1-3, the keyed hash for tables whose keys come from files.
class VLR_SipHash {
public:
    VLR_SipHash(uint64_t key0, uint64_t key1);
    ~VLR_SipHash();
    VLR_SipHash(const VLR_SipHash&) = delete;
    VLR_SipHash& operator=(const VLR_SipHash&) = delete;

    void Add(const unsigned char* bytes, uint32_t n);
    void Add(unsigned char byte) { Add(&byte, 1); }

    /// The same, with ASCII letters in lower case. The bytes are ASCII.
    void AddCaseless(const unsigned char* bytes, uint32_t n);

    uint64_t Finish();

private:
    template <class Fold>
    void AddFolded(const unsigned char* bytes, uint32_t n, Fold fold);
    void AddPart(uint64_t part, uint32_t n);
    void Mix(uint64_t word);
    void Round();

    uint64_t v0, v1, v2, v3;
    uint64_t pending = 0; // the bytes not yet mixed in, first byte lowest
    uint64_t length = 0;
};
