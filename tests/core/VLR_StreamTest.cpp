#include "VLR_Stream.h"
#include "CoreFixture.h"

// Bytes stand in groups, one for each field.
// clang-format off

namespace {

TEST(VLR_Stream, ReadsChunks)
{
    const struct {
        const char *name, *wire, *content, *failure;
        uint32_t cursor;
    } kCases[] = {
        { "three bytes", "00000003 616263", "616263", "", 7 },
        { "none", "00000000 61", "", "", 4 },
        { "all ones stand for none", "FFFFFFFF 61", "", "", 4 },
        { "count past the end", "00000005 616263", "6f6c64", "ReadData out of range.", 4 },
        { "count whose sum wraps", "FFFFFFFC 616263", "6f6c64", "ReadData out of range.", 4 },
        { "count whose sum wraps to the end", "FFFFFFFE 6162", "6f6c64", "ReadData out of range.", 4 },
        { "count cut short", "000000", "6f6c64", "GetBytes out of range.", 0 },
    };
    for (const auto& c : kCases) {
        VLR_MemoryBlock store = fromHex(c.wire);
        VLR_MemoryStream stream(store);
        VLR_MemoryBlock content = fromHex("6f6c64");
        EXPECT_EQ(failure([&] { stream.ReadData(content); }), c.failure) << c.name;
        EXPECT_EQ(hex(content), c.content) << c.name;
        EXPECT_EQ(stream.Offset(), c.cursor) << c.name;
    }
}

TEST(VLR_Stream, PrimitivesAreTheirBytes)
{
    VLR_MemoryBlock store;
    VLR_MemoryStream stream(store);
    stream.WriteUInt8(0xFE);
    stream.WriteSInt8(-2);
    stream.WriteUInt16(0xFEDC);
    stream.WriteSInt16(-2);
    stream.WriteUInt32(0x01020304);
    stream.WriteSInt32(-2);
    stream.WriteRect({ 1, 2, 3, -4 });
    stream.WriteColor({ 1, 0x8000, 65535 });
    stream.WriteUTF8String(S("abc"));
    stream.WriteData(VLR_MemoryBlock());
    stream.WriteText(S("de"));
    const unsigned char counted[] = { 2, 'x', 0x8E };
    stream.WriteStr255(counted);
    EXPECT_EQ(hex(store),
        "fefe" "fedcfffe" "01020304fffffffe" "000100020003fffc" "00018000ffff" "00000003616263" "00000000" "6465"
        "02788e");

    EXPECT_EQ(stream.ReadUInt8(), 0xFE);
    EXPECT_EQ(stream.ReadSInt8(), -2);
    EXPECT_EQ(stream.ReadUInt16(), 0xFEDC);
    EXPECT_EQ(stream.ReadSInt16(), -2);
    EXPECT_EQ(stream.ReadUInt32(), 0x01020304u);
    EXPECT_EQ(stream.ReadSInt32(), -2);
    EXPECT_EQ(stream.ReadRect(), (VLR_Rect { 1, 2, 3, -4 }));
    EXPECT_EQ(stream.ReadColor(), (VLR_Color { 1, 0x8000, 65535 }));
    EXPECT_EQ(hex(stream.ReadUTF8String()), "616263");
    EXPECT_TRUE(stream.ReadData().IsEmpty());
    EXPECT_EQ(stream.ReadUInt16(), 0x6465);
    EXPECT_EQ(hex(stream.ReadStr255()), "78c3a9"); // Mac Roman
    EXPECT_TRUE(stream.AtEnd());
    stream.WriteUInt8(7); // reading and writing share the store
    EXPECT_EQ(stream.ReadUInt8(), 7);
}

TEST(VLR_Stream, TakesTextAsItIsOrDecodesIt)
{
    VLR_MemoryBlock store = fromHex("00000002 c3ff 00000003 61ff62 00");
    VLR_MemoryStream stream(store);
    EXPECT_EQ(hex(stream.ReadUTF8String()), "c3ff");
    EXPECT_EQ(hex(stream.ReadCString()), "61efbfbd62"); // a byte that is no ASCII costs nothing but itself
    EXPECT_TRUE(stream.ReadStr255().IsEmpty());
}

TEST(VLR_Stream, AFailedReadLeavesTheCursor)
{
    VLR_MemoryBlock store = fromHex("010203");
    VLR_MemoryStream stream(store);
    uint32_t value = 99;
    EXPECT_FALSE(stream.PeekUInt32(value));
    EXPECT_EQ(value, 99u);
    EXPECT_EQ(failure([&] { stream.ReadUInt32(); }), "GetBytes out of range.");
    EXPECT_EQ(stream.Offset(), 0u);
    EXPECT_TRUE(stream.EnoughDataFor(3));
    EXPECT_FALSE(stream.EnoughDataFor(4));
    unsigned char byte = 0;
    EXPECT_TRUE(stream.PeekBytes(&byte, 1));
    stream.GetBytes(&byte, 1);
    EXPECT_FALSE(stream.EnoughDataFor(0xFFFFFFFF)); // 1 + that wraps to 0
    EXPECT_EQ(failure([&] { stream.GetBytes(&byte, 0xFFFFFFFF); }), "GetBytes out of range.");
    stream.GetBytes(&byte, 0);
    EXPECT_EQ(stream.Offset(), 1u);
    VLR_MemoryBlock shorter;
    stream.SetBlock(shorter);
    EXPECT_TRUE(stream.AtEnd());
    EXPECT_EQ(failure([&] { stream.GetBytes(&byte, 0); }), "GetBytes out of range."); // beyond the end
}

TEST(VLR_Stream, ScansByteByByte)
{
    const struct {
        const char* wire;
        bool found;
        uint32_t cursor;
    } kCases[] = { { "50646174", true, 0 }, { "0050646174", true, 1 }, { "5050646174", true, 1 }, { "506461", false, 3 },
        { "", false, 0 }, { "50646100", false, 4 } };
    for (const auto& c : kCases) {
        VLR_MemoryBlock store = fromHex(c.wire);
        VLR_MemoryStream stream(store);
        for (int again = 0; again < 2; ++again) {
            EXPECT_EQ(stream.ScanUpToOrEnd(0x50646174), c.found) << c.wire;
            EXPECT_EQ(stream.Offset(), c.cursor) << c.wire;
        }
    }
}

TEST(VLR_Stream, ASectionHasItsLength)
{
    for (const uint32_t read : { 0u, 1u, 2u }) {
        VLR_MemoryBlock store = fromHex("00000001 0102");
        VLR_MemoryStream stream(store);
        const VLR_MemoryBlockStreamCheck section(stream);
        for (uint32_t i = 0; i < read; ++i)
            stream.ReadUInt8();
        EXPECT_EQ(failure([&] { section.Check(); }), read == 1 ? "" : "corrupted data block");
    }
}

/// A store that promises more than it gives.
class Refusing final : public VLR_Stream {
public:
    uint32_t VirtualLength() const override { return 8; }
    bool VirtualGetBytes(void*, uint32_t, uint32_t) const override { return false; }
    void VirtualAppendBytes(const void*, uint32_t) override { }
};

TEST(VLR_Stream, AStoreMayRefuse)
{
    Refusing stream;
    EXPECT_EQ(failure([&] { stream.ReadUInt32(); }), "Can't get bytes.");
    EXPECT_EQ(stream.Offset(), 0u);
}

} // namespace
