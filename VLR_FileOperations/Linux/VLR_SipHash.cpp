#include "VLR_SipHash.h"

#include <bit>

VLR_SipHash::VLR_SipHash(uint64_t key0, uint64_t key1)
    : v0(key0 ^ 0x736F6D6570736575)
    , v1(key1 ^ 0x646F72616E646F6D)
    , v2(key0 ^ 0x6C7967656E657261)
    , v3(key1 ^ 0x7465646279746573)
{
}

void VLR_SipHash::Add(unsigned char byte)
{
    word |= static_cast<uint64_t>(byte) << (8 * (length & 7));
    if ((++length & 7) == 0) {
        Mix(word);
        word = 0;
    }
}

uint64_t VLR_SipHash::Finish()
{
    Mix(word | length << 56);
    v2 ^= 0xFF;
    for (int i = 0; i < 4; ++i)
        Round();
    return v0 ^ v1 ^ v2 ^ v3;
}

void VLR_SipHash::Mix(uint64_t m)
{
    v3 ^= m;
    Round();
    Round();
    v0 ^= m;
}

void VLR_SipHash::Round()
{
    v0 += v1;
    v1 = std::rotl(v1, 13) ^ v0;
    v0 = std::rotl(v0, 32);
    v2 += v3;
    v3 = std::rotl(v3, 16) ^ v2;
    v0 += v3;
    v3 = std::rotl(v3, 21) ^ v0;
    v2 += v1;
    v1 = std::rotl(v1, 17) ^ v2;
    v2 = std::rotl(v2, 32);
}
