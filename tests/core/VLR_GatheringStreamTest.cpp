#include "VLR_GatheringStream.h"
#include "CoreFixture.h"

namespace {

const unsigned char* addressOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

VLR_ForeignBytes sourceOf(const std::string& text)
{
    return { addressOf(text), static_cast<uint32_t>(text.size()) };
}

void put(VLR_GatheringStream& stream, std::string_view text)
{
    stream.PutBytes(text.data(), static_cast<uint32_t>(text.size()));
}

std::string joined(const VLR_GatheringStream& stream)
{
    std::string result;
    for (const VLR_ForeignBytes& piece : stream.Pieces())
        result.append(reinterpret_cast<const char*>(piece.bytes), piece.length);
    return result;
}

TEST(VLR_GatheringStream, WhatRepeatsASourceIsOnePieceOfIt)
{
    const std::string source = "headPdat1234bodyPdat5678text";
    VLR_GatheringStream stream({ sourceOf(source) });
    put(stream, "HEAD"); // own
    put(stream, "Pdat");
    put(stream, "1234");
    put(stream, std::string_view(source).substr(12, 4));
    for (const char* const frame : { "Pdat", "5678" }) // from elsewhere, but the same as what comes next
        put(stream, frame);
    put(stream, std::string_view(source).substr(24));
    put(stream, "behind the source's end");
    const std::vector<VLR_ForeignBytes> pieces = stream.Pieces();
    ASSERT_EQ(pieces.size(), 3u);
    EXPECT_EQ(pieces[0].length, 12u);
    EXPECT_EQ(pieces[1].bytes, addressOf(source) + 12);
    EXPECT_EQ(pieces[1].length, 16u);
    EXPECT_EQ(joined(stream), "HEADPdat1234bodyPdat5678textbehind the source's end");
    EXPECT_EQ(stream.Length(), joined(stream).size());
}

TEST(VLR_GatheringStream, NoSumOfLengthsWraps)
{
    const std::string text = "text";
    VLR_GatheringStream stream({ { addressOf(text), 0xFFFFFFF0 } }); // nobody looks behind the text
    stream.PutBytes(text.data(), 0xFFFFFFF0);
    EXPECT_EQ(failure([&] { stream.PutBytes(text.data(), 0x10); }), "Can't allocate");
    EXPECT_EQ(stream.Length(), 0xFFFFFFF0u);
}

} // namespace
