#include "VLR_SipHash.h"

#include "VLR_System.h"

#include <bit>
#include <cstring>

namespace {

uint64_t AsIs(uint64_t eightBytes)
{
    return eightBytes;
}

/// Eight ASCII bytes in lower case: bit 7 of each byte tells whether it lies between 'A' and 'Z', and becomes bit 5.
uint64_t InLowerCase(uint64_t eightBytes)
{
    constexpr uint64_t kEach = 0x0101010101010101;
    const uint64_t fromA = eightBytes + kEach * (0x80 - 'A');
    const uint64_t behindZ = eightBytes + kEach * (0x80 - 'Z' - 1);
    return eightBytes | (fromA & ~behindZ & kEach * 0x80) >> 2;
}

/// Bytes as a word, the first one lowest.
template <class Unsigned>
Unsigned WordOf(const unsigned char* bytes)
{
    Unsigned word = 0;
    std::memcpy(&word, bytes, sizeof word);
    if constexpr (std::endian::native == std::endian::big)
        return static_cast<Unsigned>(__builtin_bswap64(word) >> (64 - 8 * sizeof word));
    return word;
}

/// Fewer than eight bytes likewise.
uint64_t WordOf(const unsigned char* bytes, uint32_t n)
{
    if (n >= 4) // from both ends; what is in both is the same
        return WordOf<uint32_t>(bytes) | uint64_t { WordOf<uint32_t>(bytes + n - 4) } << (8 * (n - 4));
    uint64_t word = 0;
    for (uint32_t i = 0; i < n; ++i)
        word |= uint64_t { bytes[i] } << (8 * i);
    return word;
}

} // namespace

VLR_SipHash::VLR_SipHash(uint64_t key0, uint64_t key1)
    : v0(key0 ^ 0x736F6D6570736575)
    , v1(key1 ^ 0x646F72616E646F6D)
    , v2(key0 ^ 0x6C7967656E657261)
    , v3(key1 ^ 0x7465646279746573)
{
}

VLR_SipHash::~VLR_SipHash()
{
    VLR_System::MemWipe(&pending, sizeof pending); // the last bytes of a text
}

void VLR_SipHash::Add(const unsigned char* bytes, uint32_t n)
{
    AddFolded(bytes, n, AsIs);
}

void VLR_SipHash::AddCaseless(const unsigned char* bytes, uint32_t n)
{
    AddFolded(bytes, n, InLowerCase);
}

template <class Fold>
void VLR_SipHash::AddFolded(const unsigned char* bytes, uint32_t n, Fold fold)
{
    if ((length & 7) == 0) { // as a rule: then nothing is pending
        for (; n >= 8; bytes += 8, n -= 8, length += 8)
            Mix(fold(WordOf<uint64_t>(bytes)));
    }
    for (; n >= 8; bytes += 8, n -= 8)
        AddPart(fold(WordOf<uint64_t>(bytes)), 8);
    if (n > 0)
        AddPart(fold(WordOf(bytes, n)), n);
}

/// Adds the lowest `n` bytes of a word, 1 to 8; the others are zero.
void VLR_SipHash::AddPart(uint64_t part, uint32_t n)
{
    const uint32_t used = length & 7;
    length += n;
    pending |= part << (8 * used);
    if (used + n < 8)
        return;
    Mix(pending);
    pending = used == 0 ? 0 : part >> (8 * (8 - used));
}

uint64_t VLR_SipHash::Finish()
{
    Mix(pending | length << 56);
    v2 ^= 0xFF;
    for (int i = 0; i < 3; ++i)
        Round();
    return v0 ^ v1 ^ v2 ^ v3;
}

void VLR_SipHash::Mix(uint64_t word)
{
    v3 ^= word;
    Round();
    v0 ^= word;
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
