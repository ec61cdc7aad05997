#pragma once

#include "VLR_String.h"

#include <cstdint>

/// A master password, the key schedule made from it, and the cipher that a vault's records are enciphered with:
/// Blowfish with 16 rounds in electronic codebook mode, each 8 bytes as two big-endian words.
///
/// A vault stores neither password nor hash but a reference buffer, the bytes 00 to FF enciphered; a password is right
/// if deciphering the stored buffer gives them back. An instance belongs to one document and is not reference counted.
class VLR_BlowFish {
public:
    VLR_BlowFish() = default;
    virtual ~VLR_BlowFish();
    VLR_BlowFish(const VLR_BlowFish&) = delete;
    VLR_BlowFish& operator=(const VLR_BlowFish&) = delete;

    /// True if a key schedule is in place.
    bool Ready() const { return ready; }

    /// Takes a password of any length and generates the key schedule from its UTF-8 bytes. The empty password is the
    /// key of one zero byte. `padToKeyLength` repeats a short password up to 73 bytes, as files before version 4 had
    /// it: the same schedule, other stored key bytes.
    void SetPassword(const VLR_String& password, bool padToKeyLength);

    /// Makes the schedule from the key bytes; at most the first 72 take part. The length is narrowed to a signed 16-bit
    /// number first, as files in use rely on it; where that would leave no key byte at all, the real length counts.
    void GenerateKey();

    /// The key bytes, padding included, if ready; else the empty string.
    VLR_String GetPassword() const;

    /// Forgets schedule and key bytes. The given password stays, for hosts that key anew with it.
    void Reset();

    /// One block as two words in host order.
    void Encipher(uint32_t* left, uint32_t* right) const;
    void Decipher(uint32_t* left, uint32_t* right) const;

    /// Enciphers in place what stands from `start` on, after padding that with zero bytes to a multiple of 8. The old
    /// length is not recorded. Raises: kNotReadyToEncrypt.
    void EncryptMemoryBlock(VLR_MemoryBlock& block, uint32_t start = 0) const;

    /// Deciphers in place; the block keeps its length, padding included.
    /// Raises: kNotReadyToDecrypt, kLengthNotRounded, with the block unchanged.
    void DecryptMemoryBlock(VLR_MemoryBlock& block) const;

    /// Makes `block` the enciphered reference buffer of the present key. Raises: kNotReadyToEncrypt.
    void EncryptedReferenceBuffer(VLR_MemoryBlock& block) const;

    /// True if a stored reference buffer was made with the present key; `block` stays as it is. A buffer of another
    /// length is false.
    /// Raises: kNotReadyToDecrypt, kLengthNotRounded.
    bool Verify(const VLR_MemoryBlock& block);

    /// True if the last Verify that came to a comparison succeeded with the empty password.
    bool VerifiedEmptyPassword() const { return verifiedEmptyPassword; }

    // The plain pattern. The last cipher block is left out of the tests: vaults in use carry other bytes there.

    static void FillReferenceBuffer(void* buffer, int32_t length);
    static bool ValidateReferenceBuffer(const void* buffer, int32_t length);
    static bool EqualReferenceBuffers(const void* a, int32_t lengthA, const void* b, int32_t lengthB);

    static constexpr int32_t kReferenceBufferLength = 256;
    static constexpr int32_t kTestedReferenceLength = 248;
    static constexpr uint32_t kBlockLength = 8;

    static constexpr char kNotReadyToEncrypt[] = "not ready to encrypt handle";
    static constexpr char kNotReadyToDecrypt[] = "not ready to decrypt handle";
    static constexpr char kLengthNotRounded[] = "handle length not rounded to 64-bits";

private:
    void PadKeyBytes(uint32_t passwordLength);
    uint32_t KeyLength() const;
    void MixKeyIntoP();

    bool ready = false;
    VLR_String keyBytes;
    VLR_String password;
    uint32_t P[18] = {};
    uint32_t S[4][256] = {};
    bool verifiedEmptyPassword = false;
};
