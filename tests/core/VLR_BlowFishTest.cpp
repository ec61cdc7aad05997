#include "VLR_BlowFish.h"
#include "CoreFixture.h"

#include <algorithm>
#include <cstring>
#include <fstream>

namespace {

/// What a key makes of sixteen bytes.
std::string sampleUnder(const std::string& key, bool pad = false)
{
    VLR_BlowFish fish;
    fish.SetPassword(S(key), pad);
    VLR_MemoryBlock block = S("sixteen bytes ...");
    fish.EncryptMemoryBlock(block);
    return str(block);
}

TEST(VLR_BlowFish, AgreesWithThePublishedVectors)
{
    std::ifstream file(VELLORIN_TEST_DATA "/blowfish-vectors.txt");
    std::string key, in, line;
    int count = 0;
    while (std::getline(file, line)) {
        const std::string value = line.substr(std::min(line.find('=') + 2, line.size()));
        if (line.rfind("Key =", 0) == 0)
            key = str(fromHex(value));
        else if (line.rfind("In =", 0) == 0)
            in = str(fromHex(value));
        else if (line.rfind("Out =", 0) == 0) {
            VLR_BlowFish fish;
            fish.SetPassword(S(key), /*padToKeyLength=*/false);
            VLR_MemoryBlock block = S(in);
            fish.EncryptMemoryBlock(block);
            EXPECT_EQ(str(block), str(fromHex(value))) << line;
            fish.DecryptMemoryBlock(block);
            EXPECT_EQ(str(block), in) << line;
            ++count;
        }
    }
    EXPECT_GE(count, 34);
}

TEST(VLR_BlowFish, BlocksWorkedSideBySideAreTheSameAsAlone)
{
    VLR_BlowFish fish;
    fish.SetPassword(S("open sesame"), /*padToKeyLength=*/false);
    for (uint32_t blocks = 0; blocks < 20; ++blocks) {
        VLR_MemoryBlock together, alone;
        for (uint32_t i = 0; i < 8 * blocks; ++i)
            together.AppendByte(static_cast<unsigned char>(i * 37));
        const std::string plain = str(together);
        for (uint32_t i = 0; i < blocks; ++i) {
            VLR_MemoryBlock one = S(plain.substr(8 * i, 8));
            fish.EncryptMemoryBlock(one);
            alone.Append(one);
        }
        fish.EncryptMemoryBlock(together);
        EXPECT_EQ(str(together), str(alone));
        fish.DecryptMemoryBlock(together);
        EXPECT_EQ(str(together), plain);
    }
}

TEST(VLR_BlowFish, KeysCountByTheirFirst72Bytes)
{
    const std::string key(72, 'k');
    EXPECT_EQ(sampleUnder(key + "one"), sampleUnder(key + "two"));
    EXPECT_NE(sampleUnder(key.substr(1) + "x"), sampleUnder(key));
    for (const std::size_t length : { 1u, 7u, 71u, 72u, 73u, 100u }) {
        const std::string some
            = std::string("abcdefghijklmnopqrstuvwxyz0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ!$%&/()=?+*#-_.,;:"
                          "<>|@{[]}~^abcdefghijk")
                  .substr(0, length);
        EXPECT_EQ(sampleUnder(some, /*pad=*/true), sampleUnder(some)) << length;
    }
    EXPECT_EQ(sampleUnder(""), sampleUnder(std::string(1, '\0')));
    EXPECT_EQ(sampleUnder("", /*pad=*/true), sampleUnder(std::string(73, '\0')));
}

TEST(VLR_BlowFish, TheLengthOfAKeyIsNarrowedTo16Bits)
{
    const auto key = [](std::size_t length) { return "ab" + std::string(length - 2, 'x'); };
    EXPECT_EQ(sampleUnder(key(65537)), sampleUnder("a"));
    EXPECT_EQ(sampleUnder(key(65538)), sampleUnder("ab"));
    EXPECT_EQ(sampleUnder(key(65535)), sampleUnder("a")); // -1
    EXPECT_EQ(sampleUnder(key(40000)), sampleUnder(key(72)));
    EXPECT_EQ(sampleUnder(key(65536)), sampleUnder(key(72))); // would be 0: the real length counts
    EXPECT_EQ(sampleUnder(key(131072)), sampleUnder(key(72)));
}

TEST(VLR_BlowFish, PadsWithZerosToWholeBlocks)
{
    VLR_BlowFish fish;
    fish.SetPassword(S("k"), false);
    const std::pair<uint32_t, uint32_t> kLengths[] = { { 0, 0 }, { 1, 8 }, { 7, 8 }, { 8, 8 }, { 9, 16 } };
    for (const auto& [length, padded] : kLengths) {
        VLR_MemoryBlock block = S(std::string(length, 'p'));
        fish.EncryptMemoryBlock(block);
        EXPECT_EQ(block.Length(), padded);
        fish.DecryptMemoryBlock(block);
        EXPECT_EQ(str(block), std::string(length, 'p') + std::string(padded - length, '\0'));
    }
}

TEST(VLR_BlowFish, NeedsAKeyAndWholeBlocks)
{
    VLR_BlowFish fish;
    VLR_MemoryBlock block = S(std::string(250, 'x'));
    EXPECT_FALSE(fish.Ready());
    EXPECT_TRUE(fish.GetPassword().IsEmpty());
    EXPECT_EQ(failure([&] { fish.EncryptMemoryBlock(block); }), "not ready to encrypt handle");
    EXPECT_EQ(failure([&] { fish.DecryptMemoryBlock(block); }), "not ready to decrypt handle");
    EXPECT_EQ(failure([&] { fish.Verify(block); }), "not ready to decrypt handle");
    fish.SetPassword(S("abc"), /*padToKeyLength=*/true);
    EXPECT_EQ(str(fish.GetPassword()),
        (std::string("abcabcabcabcabcabcabcabcabcabcabcabcabcabcabcabcabcabcabcabcabc"
                     "abcabcabca")));
    EXPECT_EQ(failure([&] { fish.Verify(block); }), "handle length not rounded to 64-bits");
    EXPECT_EQ(block.Length(), 250u);
    fish.Reset();
    EXPECT_EQ(failure([&] { fish.EncryptMemoryBlock(block); }), "not ready to encrypt handle");
    fish.GenerateKey(); // without key bytes: as the empty password
    EXPECT_TRUE(fish.Ready());
}

TEST(VLR_BlowFish, VerifiesAllBlocksOfTheReferenceBufferButTheLast)
{
    VLR_BlowFish fish;
    fish.SetPassword(S("right"), false);
    VLR_MemoryBlock buffer;
    fish.EncryptedReferenceBuffer(buffer);
    ASSERT_EQ(buffer.Length(), 256u);
    const std::string before = str(buffer);
    EXPECT_TRUE(fish.Verify(buffer));
    EXPECT_EQ(str(buffer), before);
    EXPECT_FALSE(fish.VerifiedEmptyPassword());
    for (const uint32_t changed : { 0u, 247u, 248u, 255u }) {
        VLR_MemoryBlock other(buffer);
        other.SetByteAtIndex(static_cast<unsigned char>(other.ByteAtIndex(changed) ^ 1), changed);
        EXPECT_EQ(fish.Verify(other), changed >= 248) << changed;
    }
    VLR_MemoryBlock shorter(buffer);
    shorter.Resize(248);
    EXPECT_FALSE(fish.Verify(shorter));
    fish.SetPassword(VLR_String(), false);
    EXPECT_FALSE(fish.Verify(buffer));
    fish.EncryptedReferenceBuffer(buffer);
    EXPECT_TRUE(fish.Verify(buffer));
    EXPECT_TRUE(fish.VerifiedEmptyPassword());
    fish.SetPassword(S("wrong"), false);
    EXPECT_FALSE(fish.Verify(buffer));
    EXPECT_FALSE(fish.VerifiedEmptyPassword());
}

TEST(VLR_BlowFish, PlainPatternsHaveOneLength)
{
    unsigned char pattern[257] = {};
    VLR_BlowFish::FillReferenceBuffer(pattern, 257);
    EXPECT_EQ(pattern[1], 0);
    VLR_BlowFish::FillReferenceBuffer(pattern, 256);
    EXPECT_EQ(pattern[255], 255);
    EXPECT_TRUE(VLR_BlowFish::ValidateReferenceBuffer(pattern, 256));
    EXPECT_FALSE(VLR_BlowFish::ValidateReferenceBuffer(pattern, 248));
    unsigned char other[256];
    std::memcpy(other, pattern, 256);
    other[248] = 0;
    EXPECT_TRUE(VLR_BlowFish::EqualReferenceBuffers(pattern, 256, other, 256));
    EXPECT_FALSE(VLR_BlowFish::EqualReferenceBuffers(pattern, 256, other, 255));
    other[247] = 0;
    EXPECT_FALSE(VLR_BlowFish::EqualReferenceBuffers(pattern, 256, other, 256));
}

} // namespace
