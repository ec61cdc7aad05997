#include "VLR_BlowFish.h"

#include "VLR_BlowFishTables.h"
#include "VLR_Exception.h"
#include "VLR_System.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr uint32_t kPaddedKeyLength = 73;
constexpr uint32_t kRounds = 16;

/// Independent blocks worked side by side: one block's table look-ups wait for each other, several blocks' don't.
constexpr uint32_t kLanes = 6;

enum class Direction {
    Encipher,
    Decipher
};

inline uint32_t F(const uint32_t (*S)[256], uint32_t x)
{
    return ((S[0][x >> 24] + S[1][(x >> 16) & 0xFF]) ^ S[2][(x >> 8) & 0xFF]) + S[3][x & 0xFF];
}

/// The subkey of a round: deciphering walks the P-array from its end.
template <Direction direction>
inline uint32_t Subkey(const uint32_t* P, uint32_t round)
{
    return direction == Direction::Encipher ? P[round] : P[kRounds + 1 - round];
}

template <Direction direction, uint32_t lanes>
inline void WorkBlocks(const uint32_t* P, const uint32_t (*S)[256], uint32_t* left, uint32_t* right)
{
#pragma GCC unroll 8
    for (uint32_t round = 0; round < kRounds; round += 2) { // two rounds a turn, so that the halves need no exchange
#pragma GCC unroll 8
        for (uint32_t lane = 0; lane < lanes; ++lane) {
            left[lane] ^= Subkey<direction>(P, round);
            right[lane] ^= F(S, left[lane]);
        }
#pragma GCC unroll 8
        for (uint32_t lane = 0; lane < lanes; ++lane) {
            right[lane] ^= Subkey<direction>(P, round + 1);
            left[lane] ^= F(S, right[lane]);
        }
    }
#pragma GCC unroll 8
    for (uint32_t lane = 0; lane < lanes; ++lane) {
        const uint32_t last = left[lane] ^ Subkey<direction>(P, kRounds);
        left[lane] = right[lane] ^ Subkey<direction>(P, kRounds + 1);
        right[lane] = last;
    }
}

inline uint32_t WordAt(const unsigned char* bytes)
{
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16
        | static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

inline void PutWord(unsigned char* bytes, uint32_t word)
{
    bytes[0] = static_cast<unsigned char>(word >> 24);
    bytes[1] = static_cast<unsigned char>(word >> 16);
    bytes[2] = static_cast<unsigned char>(word >> 8);
    bytes[3] = static_cast<unsigned char>(word);
}

template <Direction direction, uint32_t lanes>
inline void WorkBytes(const uint32_t* P, const uint32_t (*S)[256], unsigned char* bytes)
{
    uint32_t left[lanes];
    uint32_t right[lanes];
    for (uint32_t lane = 0; lane < lanes; ++lane) {
        left[lane] = WordAt(bytes + VLR_BlowFish::kBlockLength * lane);
        right[lane] = WordAt(bytes + VLR_BlowFish::kBlockLength * lane + 4);
    }
    WorkBlocks<direction, lanes>(P, S, left, right);
    for (uint32_t lane = 0; lane < lanes; ++lane) {
        PutWord(bytes + VLR_BlowFish::kBlockLength * lane, left[lane]);
        PutWord(bytes + VLR_BlowFish::kBlockLength * lane + 4, right[lane]);
    }
}

/// All whole blocks of a buffer.
template <Direction direction>
void WorkBuffer(const uint32_t* P, const uint32_t (*S)[256], unsigned char* bytes, uint32_t length)
{
    constexpr uint32_t kStride = kLanes * VLR_BlowFish::kBlockLength;
    for (; length >= kStride; bytes += kStride, length -= kStride)
        WorkBytes<direction, kLanes>(P, S, bytes);
    for (; length >= VLR_BlowFish::kBlockLength;
         bytes += VLR_BlowFish::kBlockLength, length -= VLR_BlowFish::kBlockLength)
        WorkBytes<direction, 1>(P, S, bytes);
}

} // namespace

VLR_BlowFish::~VLR_BlowFish()
{
    VLR_System::MemWipe(P, sizeof P);
    VLR_System::MemWipe(S, sizeof S);
}

void VLR_BlowFish::SetPassword(const VLR_String& newPassword, bool padToKeyLength)
{
    password = VLR_String(newPassword); // a copy first: the argument may be this very field
    keyBytes = password;
    if (keyBytes.IsEmpty())
        keyBytes.Resize(1);
    if (padToKeyLength)
        PadKeyBytes(password.Length());
    GenerateKey();
}

void VLR_BlowFish::PadKeyBytes(uint32_t passwordLength)
{
    uint32_t i = 0;
    while (keyBytes.Length() < kPaddedKeyLength) {
        if (i >= passwordLength)
            i = 0;
        keyBytes.AppendByte(keyBytes.ByteAtIndex(i));
        ++i;
    }
}

uint32_t VLR_BlowFish::KeyLength() const
{
    // A negative length takes the same bytes as its opposite: the index into the key is never negative.
    const auto narrowed = static_cast<int16_t>(keyBytes.Length());
    return narrowed != 0 ? static_cast<uint32_t>(std::abs(int32_t { narrowed })) : keyBytes.Length();
}

void VLR_BlowFish::MixKeyIntoP()
{
    const uint32_t keyLength = KeyLength();
    uint32_t j = 0;
    for (uint32_t& subkey : P) {
        uint32_t word = 0;
        for (uint32_t k = 0; k < 4; ++k)
            // NOLINTNEXTLINE(clang-analyzer-core.DivideZero): an empty key is refused before
            word = word << 8 | keyBytes.Bytes()[(j + k) % keyLength];
        subkey ^= word;
        j = (j + 4) % keyLength;
    }
}

void VLR_BlowFish::GenerateKey()
{
    if (keyBytes.IsEmpty())
        keyBytes.Resize(1);
    std::memcpy(P, kBlowFishP, sizeof P);
    std::memcpy(S, kBlowFishS, sizeof S);
    MixKeyIntoP();

    uint32_t left = 0;
    uint32_t right = 0;
    for (uint32_t i = 0; i < 18; i += 2) {
        WorkBlocks<Direction::Encipher, 1>(P, S, &left, &right);
        P[i] = left;
        P[i + 1] = right;
    }
    for (auto& box : S) {
        for (uint32_t j = 0; j < 256; j += 2) {
            WorkBlocks<Direction::Encipher, 1>(P, S, &left, &right);
            box[j] = left;
            box[j + 1] = right;
        }
    }
    ready = true;
}

VLR_String VLR_BlowFish::GetPassword() const
{
    return ready ? keyBytes : VLR_String();
}

void VLR_BlowFish::Reset()
{
    keyBytes.Resize(0);
    VLR_System::MemWipe(P, sizeof P);
    VLR_System::MemWipe(S, sizeof S);
    ready = false;
}

void VLR_BlowFish::Encipher(uint32_t* left, uint32_t* right) const
{
    WorkBlocks<Direction::Encipher, 1>(P, S, left, right);
}

void VLR_BlowFish::Decipher(uint32_t* left, uint32_t* right) const
{
    WorkBlocks<Direction::Decipher, 1>(P, S, left, right);
}

void VLR_BlowFish::EncryptMemoryBlock(VLR_MemoryBlock& block, uint32_t start) const
{
    if (!ready)
        VLR_RAISE(kNotReadyToEncrypt);
    const uint32_t length = block.Length() - start;
    const uint32_t padding = (kBlockLength - length % kBlockLength) % kBlockLength;
    block.Resize(block.Length() + padding); // new bytes read as zero
    WorkBuffer<Direction::Encipher>(P, S, block.Bytes() + start, length + padding);
}

void VLR_BlowFish::DecryptMemoryBlock(VLR_MemoryBlock& block) const
{
    if (!ready)
        VLR_RAISE(kNotReadyToDecrypt);
    if (block.Length() % kBlockLength != 0)
        VLR_RAISE(kLengthNotRounded);
    WorkBuffer<Direction::Decipher>(P, S, block.Bytes(), block.Length());
}

void VLR_BlowFish::EncryptedReferenceBuffer(VLR_MemoryBlock& block) const
{
    block.Resize(kReferenceBufferLength);
    FillReferenceBuffer(block.Bytes(), static_cast<int32_t>(block.Length()));
    EncryptMemoryBlock(block);
}

bool VLR_BlowFish::Verify(const VLR_MemoryBlock& block)
{
    VLR_MemoryBlock deciphered(block);
    DecryptMemoryBlock(deciphered);
    verifiedEmptyPassword = false;
    if (deciphered.Length() != kReferenceBufferLength)
        return false;
    if (!ValidateReferenceBuffer(deciphered.Bytes(), kReferenceBufferLength))
        return false;
    verifiedEmptyPassword = password.IsEmpty();
    return true;
}

void VLR_BlowFish::FillReferenceBuffer(void* buffer, int32_t length)
{
    if (length != kReferenceBufferLength)
        return;
    auto* const bytes = static_cast<unsigned char*>(buffer);
    for (int32_t i = 0; i < length; ++i)
        bytes[i] = static_cast<unsigned char>(i);
}

bool VLR_BlowFish::ValidateReferenceBuffer(const void* buffer, int32_t length)
{
    unsigned char pattern[kReferenceBufferLength];
    FillReferenceBuffer(pattern, kReferenceBufferLength);
    return EqualReferenceBuffers(buffer, length, pattern, kReferenceBufferLength);
}

bool VLR_BlowFish::EqualReferenceBuffers(const void* a, int32_t lengthA, const void* b, int32_t lengthB)
{
    return lengthA == kReferenceBufferLength && lengthB == kReferenceBufferLength
        && std::memcmp(a, b, kTestedReferenceLength) == 0;
}
