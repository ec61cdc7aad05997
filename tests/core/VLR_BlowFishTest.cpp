#include "VLR_BlowFish.h"
#include "VLR_Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>

namespace {

std::string fromHex(const std::string& digits)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

template <class Block>
Block blockOf(const std::string& bytes)
{
    Block block;
    block.Append(bytes.data(), static_cast<uint32_t>(bytes.size()));
    return block;
}

std::string bytesOf(const VLR_MemoryBlock& block)
{
    return std::string(reinterpret_cast<const char*>(block.Bytes()), block.Length());
}

/// What a key makes of sixteen bytes.
std::string sampleUnder(const std::string& key, bool pad = false)
{
    VLR_BlowFish fish;
    fish.SetPassword(blockOf<VLR_String>(key), pad);
    auto block = blockOf<VLR_MemoryBlock>("sixteen bytes ...");
    fish.EncryptMemoryBlock(block);
    return bytesOf(block);
}

std::string failure(const std::function<void()>& work)
{
    try {
        work();
    } catch (const VLR_Exception& exception) {
        return bytesOf(exception.message);
    }
    return "";
}

TEST(VLR_BlowFish, AgreesWithThePublishedVectors)
{
    std::ifstream file(VELLORIN_TEST_DATA "/blowfish-vectors.txt");
    std::string key, in, line;
    int count = 0;
    while (std::getline(file, line)) {
        const std::string value = line.substr(std::min(line.find('=') + 2, line.size()));
        if (line.rfind("Key =", 0) == 0)
            key = fromHex(value);
        else if (line.rfind("In =", 0) == 0)
            in = fromHex(value);
        else if (line.rfind("Out =", 0) == 0) {
            VLR_BlowFish fish;
            fish.SetPassword(blockOf<VLR_String>(key), /*padToKeyLength=*/false);
            auto block = blockOf<VLR_MemoryBlock>(in);
            fish.EncryptMemoryBlock(block);
            EXPECT_EQ(bytesOf(block), fromHex(value)) << line;
            fish.DecryptMemoryBlock(block);
            EXPECT_EQ(bytesOf(block), in) << line;
            ++count;
        }
    }
    EXPECT_GE(count, 34);
}

TEST(VLR_BlowFish, BlocksWorkedSideBySideAreTheSameAsAlone)
{
    VLR_BlowFish fish;
    fish.SetPassword(blockOf<VLR_String>("open sesame"), /*padToKeyLength=*/false);
    for (uint32_t blocks = 0; blocks < 20; ++blocks) {
        VLR_MemoryBlock together, alone;
        for (uint32_t i = 0; i < 8 * blocks; ++i)
            together.AppendByte(static_cast<unsigned char>(i * 37));
        const std::string plain = bytesOf(together);
        for (uint32_t i = 0; i < blocks; ++i) {
            auto one = blockOf<VLR_MemoryBlock>(plain.substr(8 * i, 8));
            fish.EncryptMemoryBlock(one);
            alone.Append(one);
        }
        fish.EncryptMemoryBlock(together);
        EXPECT_EQ(bytesOf(together), bytesOf(alone));
        fish.DecryptMemoryBlock(together);
        EXPECT_EQ(bytesOf(together), plain);
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
    fish.SetPassword(blockOf<VLR_String>("k"), false);
    const std::pair<uint32_t, uint32_t> kLengths[] = { { 0, 0 }, { 1, 8 }, { 7, 8 }, { 8, 8 }, { 9, 16 } };
    for (const auto& [length, padded] : kLengths) {
        auto block = blockOf<VLR_MemoryBlock>(std::string(length, 'p'));
        fish.EncryptMemoryBlock(block);
        EXPECT_EQ(block.Length(), padded);
        fish.DecryptMemoryBlock(block);
        EXPECT_EQ(bytesOf(block), std::string(length, 'p') + std::string(padded - length, '\0'));
    }
}

TEST(VLR_BlowFish, NeedsAKeyAndWholeBlocks)
{
    VLR_BlowFish fish;
    auto block = blockOf<VLR_MemoryBlock>(std::string(250, 'x'));
    EXPECT_FALSE(fish.Ready());
    EXPECT_TRUE(fish.GetPassword().IsEmpty());
    EXPECT_EQ(failure([&] { fish.EncryptMemoryBlock(block); }), "not ready to encrypt handle");
    EXPECT_EQ(failure([&] { fish.DecryptMemoryBlock(block); }), "not ready to decrypt handle");
    EXPECT_EQ(failure([&] { fish.Verify(block); }), "not ready to decrypt handle");
    fish.SetPassword(blockOf<VLR_String>("abc"), /*padToKeyLength=*/true);
    EXPECT_EQ(bytesOf(fish.GetPassword()),
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
    fish.SetPassword(blockOf<VLR_String>("right"), false);
    VLR_MemoryBlock buffer;
    fish.EncryptedReferenceBuffer(buffer);
    ASSERT_EQ(buffer.Length(), 256u);
    const std::string before = bytesOf(buffer);
    EXPECT_TRUE(fish.Verify(buffer));
    EXPECT_EQ(bytesOf(buffer), before);
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
    fish.SetPassword(blockOf<VLR_String>("wrong"), false);
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
