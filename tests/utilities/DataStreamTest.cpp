#include "DataStream.h"

#include "ExtraColorUtilities.h"
#include "StreamText.h"
#include "UtilityStandIns.h"
#include "VLR_Stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

// Bytes stand in groups, one for each field.
// clang-format off

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr char kGetBytesFailure[] = "NSInternalInconsistencyException|NSData getBytes out of range., "
                                    "method: getBytes:length:, file: DataStream, line: 62";
constexpr char kReadDataFailure[] = "NSInternalInconsistencyException|NSData readData out of range., "
                                    "method: readData, file: DataStream, line: 125";
constexpr char kWriteDataFailure[] = "NSInternalInconsistencyException|NSData readData out of range., "
                                     "method: writeData:, file: DataStream, line: 125";

std::string unhex(const std::string& hex)
{
    std::string digits;
    std::copy_if(hex.begin(), hex.end(), std::back_inserter(digits), [](char c) { return c != ' '; });
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

std::string hex(const uint8_t* bytes, std::size_t length)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string result;
    for (std::size_t i = 0; i < length; ++i)
        result += { kDigits[bytes[i] >> 4], kDigits[bytes[i] & 15] };
    return result;
}

std::string hex(const DataStream& stream)
{
    return hex(stream.mutableData()->bytes(), stream.mutableData()->length());
}

DataStream streamOver(const std::string& hexBytes)
{
    const std::string bytes = unhex(hexBytes);
    return DataStream::dataStreamWithData(std::make_shared<NSMutableData>(bytes.data(), bytes.size()));
}

/// The bytes that follow the cursor.
std::size_t bytesLeft(const DataStream& stream)
{
    std::size_t left = 0;
    while (stream.enoughDataFor(left + 1))
        ++left;
    return left;
}

TEST(DataStream, WritesWhatTheCoreReadsAndTheOtherWayRound)
{
    DataStream stream = DataStream::dataStreamWithEmptyData();
    stream.writeUInt8(0xFE);
    stream.writeSInt8(-2);
    stream.writeUInt16(0xFEDC);
    stream.writeSInt16(-2);
    stream.writeUInt32(0x01020304);
    stream.writeSInt32(-2);
    stream.writeCarbonRect({ 1, 2, 3, -4 });
    stream.writeNSColorAsCarbonColor(NSColor::colorWithDeviceRGB({ 0, 0.5, 1, 0.25 }));
    stream.writeNSString(text("abc"));
    stream.writeData(NSData());
    stream.writeStr255(reinterpret_cast<const unsigned char*>("\3abc"));

    VLR_MemoryBlock block;
    VLR_MemoryStream core(block);
    core.WriteUInt8(0xFE);
    core.WriteSInt8(-2);
    core.WriteUInt16(0xFEDC);
    core.WriteSInt16(-2);
    core.WriteUInt32(0x01020304);
    core.WriteSInt32(-2);
    core.WriteRect({ 1, 2, 3, -4 });
    core.WriteColor({ 0, 32767, 65535 });
    core.WriteUTF8String(VLR_String("abc", VLR_CharacterSetUTF8));
    core.WriteData(VLR_MemoryBlock());
    core.WriteStr255(reinterpret_cast<const unsigned char*>("\3abc"));

    EXPECT_EQ(hex(stream), "fefefedcfffe01020304fffffffe000100020003fffc00007fffffff00000003616263"
                           "0000000003616263");
    EXPECT_EQ(hex(stream), hex(block.Bytes(), block.Length()));

    EXPECT_EQ(stream.readUInt8(), 0xFE);
    EXPECT_EQ(stream.readSInt8(), -2);
    EXPECT_EQ(stream.readUInt16(), 0xFEDC);
    EXPECT_EQ(stream.readSInt16(), -2);
    uint32_t peeked = 0;
    EXPECT_TRUE(stream.peekUInt32(peeked));
    EXPECT_EQ(peeked, 0x01020304u);
    EXPECT_EQ(stream.readUInt32(), 0x01020304u);
    EXPECT_EQ(stream.readSInt32(), -2);
    EXPECT_EQ(stream.readNSRect(), (CGRect { 2, 1, -6, 2 }));
    EXPECT_EQ(stream.readCarbonColorAsNSColor().components(), (NSColor::RGB { 0, 32767 / 65535.0, 1, 1 }));
    EXPECT_EQ(plain(stream.readCString()), "abc");
    EXPECT_EQ(plain(stream.readNSString()), "");
    EXPECT_EQ(plain(stream.readStr255()), "abc");
    EXPECT_TRUE(stream.atEnd());
}

TEST(DataStream, ReadsChunks)
{
    const struct {
        const char *name, *wire, *content, *failure;
        std::size_t left;
    } kCases[] = {
        { "three bytes", "00000003 616263 64", "616263", "", 1 },
        { "none", "00000000 61", "", "", 1 },
        { "all ones stand for none", "FFFFFFFF 61", "", "", 1 },
        { "all ones at the end", "FFFFFFFF", "", "", 0 },
        { "count past the end", "00000005 616263", "-", kReadDataFailure, 3 },
        { "count just below all ones", "FFFFFFFE 616263", "-", kReadDataFailure, 3 },
        { "count cut short", "000000", "-", kGetBytesFailure, 3 },
    };
    for (const auto& c : kCases) {
        DataStream stream = streamOver(c.wire);
        std::string content = "-";
        EXPECT_EQ(raisedBy([&] {
            const NSMutableData chunk = stream.readData();
            content = hex(chunk.bytes(), chunk.length());
        }),
            c.failure)
            << c.name;
        EXPECT_EQ(content, c.content) << c.name;
        EXPECT_EQ(bytesLeft(stream), c.left) << c.name;
    }
}

TEST(DataStream, StopsAtTheEndAndPeeksWithoutRaising)
{
    DataStream stream = streamOver("010203");
    uint32_t value = 7;
    uint8_t bytes[4] = { 9, 9, 9, 9 };
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
    EXPECT_FALSE(stream.peekUInt32(value));
    EXPECT_EQ(value, 7u);
    EXPECT_TRUE(stream.peekBytes(bytes, 3));
    EXPECT_FALSE(stream.peekBytes(bytes, kMost));
    EXPECT_EQ(raisedBy([&] { stream.readUInt32(); }), kGetBytesFailure);
    EXPECT_EQ(stream.readUInt8(), 1);
    EXPECT_FALSE(stream.enoughDataFor(kMost)) << "cursor and count wrap to 0";
    EXPECT_EQ(raisedBy([&] { stream.getBytes(bytes, kMost); }), kGetBytesFailure);
    EXPECT_EQ(stream.readUInt16(), 0x0203);
    EXPECT_TRUE(stream.atEnd());
    EXPECT_TRUE(stream.peekBytes(bytes, 0));
    EXPECT_EQ(raisedBy([&] { stream.getBytes(bytes, 0); }), "");
}

TEST(DataStream, SharesItsStoreAndWritesBehindTheCursor)
{
    const auto store = std::make_shared<NSMutableData>();
    DataStream stream(store);
    EXPECT_TRUE(stream.atEnd());
    stream.writeUInt16(0x0102);
    EXPECT_EQ(stream.readUInt8(), 1);
    stream.writeUInt8(3);
    EXPECT_EQ(stream.readUInt16(), 0x0203);
    store->setLength(1); // another holder cuts it before the cursor
    EXPECT_TRUE(stream.atEnd());
    EXPECT_FALSE(stream.enoughDataFor(0));
    EXPECT_EQ(raisedBy([&] { stream.readUInt8(); }), kGetBytesFailure);
    EXPECT_FALSE(stream.peekBytes(nullptr, 0));
    EXPECT_EQ(hex(stream), "01");
}

TEST(DataStream, WritesChunksOfAnything)
{
    DataStream stream = streamOver("6162");
    stream.writeData(*stream.mutableData());
    EXPECT_EQ(hex(stream), "6162" "00000002" "6162");
    stream.mutableData()->setLength(0);
    stream.writeData(std::nullopt);
    stream.writeData(NSData::dataWithBytes("x", 1));
    EXPECT_EQ(hex(stream), "00000000" "00000001" "78");
    // Borrowed, so that nobody needs as much memory; it is refused before a byte is touched.
    for (const std::size_t length : { std::size_t { 0xFFFFFFFF }, std::size_t { 0x100000000 } }) {
        const NSData tooLong = NSData::dataWithBytesNoCopy("x", length);
        EXPECT_EQ(raisedBy([&] { stream.writeData(tooLong); }), kWriteDataFailure);
    }
    EXPECT_EQ(hex(stream), "00000000" "00000001" "78");
}

TEST(DataStream, ReadsText)
{
    const struct {
        const char *name, *wire, *text;
    } kCases[] = {
        { "up to the first zero", "00000005 6162006364", "ab" },
        { "a leading zero", "00000002 0061", "" },
        { "none", "00000000", "" },
        { "composed", "00000003 65CC81", "\u00E9" },
        { "marks out of order", "00000005 71CC87CCA3", "q\u0323\u0307" },
        { "one that composition excludes", "00000003 E0A598", "\u0915\u093C" },
        { "beyond the basic plane", "00000004 F09F9880", "\U0001F600" },
        { "a stray byte", "00000003 61FF62", "a\uFFFDb" },
        { "a sequence cut short", "00000003 61E282", "a\uFFFD" },
        { "a surrogate", "00000005 61EDA08062", "a\uFFFD\uFFFD\uFFFDb" },
    };
    for (const auto& c : kCases) {
        DataStream stream = streamOver(c.wire);
        EXPECT_EQ(plain(stream.readNSString()), c.text) << c.name;
        EXPECT_TRUE(stream.atEnd()) << c.name;
    }
    DataStream stream = DataStream::dataStreamWithEmptyData();
    stream.writeNSString(text("e\u0301"));
    EXPECT_EQ(hex(stream), "00000003" "65cc81") << "written as it is";
}

TEST(DataStream, ReadsClassicText)
{
    DataStream stream = streamOver("03 61008E 00000002 A5DB 00 03 6162");
    EXPECT_EQ(plain(stream.readStr255()), std::string("a\0\u00E9", 4));
    EXPECT_EQ(plain(stream.readCString()), "\u2022\u20AC");
    EXPECT_EQ(plain(stream.readStr255()), "");
    EXPECT_EQ(raisedBy([&] { stream.readStr255(); }), kGetBytesFailure);
    EXPECT_EQ(bytesLeft(stream), 2u) << "the count stays consumed";
    EXPECT_EQ(DataStream::encodingForClassicStrings(), NSStringEncoding::MacOSRoman);
}

TEST(StreamText, TakesShiftJISWhereProgramsAreJapanese)
{
    EXPECT_EQ(static_cast<uint32_t>(StreamText::classicEncoding(kTextEncodingMacJapanese)), 8u);
    EXPECT_EQ(static_cast<uint32_t>(StreamText::classicEncoding(kTextEncodingMacRoman)), 30u);
    EXPECT_EQ(static_cast<uint32_t>(StreamText::classicEncoding(2)), 30u);
    const auto japanese = [](const std::string& bytes) {
        const auto* const start = reinterpret_cast<const uint8_t*>(bytes.data());
        return plain(StreamText::fromClassic(start, bytes.size(), NSStringEncoding::ShiftJIS));
    };
    EXPECT_EQ(japanese(unhex("61 93FA967B B1")), "a\u65E5\u672C\uFF71");
    std::string ascii;
    for (char c = 0; c >= 0 && c < 127; ++c)
        ascii += c;
    ascii += '\x7F';
    EXPECT_EQ(japanese(ascii), ascii);
    EXPECT_EQ(japanese(unhex("93FA 93")), "\u65E5\uFFFD") << "a lead byte at the end";
    EXPECT_EQ(japanese(unhex("FFA0 61")), "\uFFFD\uFFFDa") << "no lead bytes";
    EXPECT_EQ(japanese(unhex("EFFC 61")), "\uFFFDa") << "a pair without a character";
    EXPECT_EQ(japanese(""), "");
}

TEST(DataStream, CutsRectangles)
{
    const struct {
        const char* name;
        CGRect rect;
        const char* wire; // top, left, bottom, right
    } kCases[] = {
        { "whole", { 2, 1, 10, 20 }, "0001 0002 0015 000c" },
        { "toward zero", { 2.9, -1.9, 10.9, 20.9 }, "ffff 0002 0013 000c" },
        { "the cut origin counts", { 0.6, 0.6, 0.6, 0.6 }, "0000 0000 0000 0000" },
        { "the low 16 bits", { 65537, -32769, 1, 32768 }, "7fff 0001 ffff 0002" },
        { "far edges wrap", { 32767, 32767, 1, 2 }, "7fff 7fff 8001 8000" },
        { "beyond 64 bits", { 1e300, 36893488147419103232.0, 1, 1 }, "0000 0000 0001 0001" },
        { "not finite", { std::nan(""), -kInfinity, kInfinity, std::nan("") }, "0000 0000 0000 0000" },
    };
    for (const auto& c : kCases) {
        DataStream stream = DataStream::dataStreamWithEmptyData();
        stream.writeNSRect(c.rect);
        EXPECT_EQ(unhex(hex(stream)), unhex(c.wire)) << c.name << ": " << hex(stream);
    }
    for (const char* const wire : { "0001000200030004", "7fff80008000ffff", "80007fff7fff8000" }) {
        DataStream stream = streamOver(wire);
        stream.writeNSRect(stream.readNSRect());
        EXPECT_EQ(hex(stream), std::string(wire) + wire);
    }
}

TEST(DataStream, CutsColours)
{
    const struct {
        const char* name;
        NSColor color;
        const char* wire;
        std::vector<std::string> log;
    } kCases[] = {
        { "by truncation", NSColor::colorWithDeviceRGB({ 0.5, 0.99999, 1, 0 }), "7fff fffe ffff", {} },
        { "the low 16 bits", NSColor::colorWithDeviceRGB({ 2, -1, 65536 }), "fffe 0001 0000", {} },
        { "not finite", NSColor::colorWithDeviceRGB({ std::nan(""), kInfinity, 0 }), "0000 0000 0000", {} },
        { "a grey is converted after all", NSColor::colorWithWhite(0.5, 0.5), "7fff 7fff 7fff",
            { "colorAsRGBColor: Color not RGB.  May be proprietary named space.  Saving white instead." } },
        { "a name is white", NSColor::namedColor(), "ffff ffff ffff",
            { "colorAsRGBColor: Color not RGB.  May be proprietary named space.  Saving white instead.",
                "Can't convert selected color to RGB." } },
    };
    for (const auto& c : kCases) {
        const LogLines log;
        DataStream stream = DataStream::dataStreamWithEmptyData();
        stream.writeNSColorAsCarbonColor(c.color);
        EXPECT_EQ(unhex(hex(stream)), unhex(c.wire)) << c.name << ": " << hex(stream);
        EXPECT_EQ(log.lines, c.log) << c.name;
    }
}

TEST(ExtraColorUtilities, WantsFourReferences)
{
    double r = 0, g = 0, b = 0, a = 0;
    const NSColor color = NSColor::colorWithDeviceRGB({ 0.25, 0.5, 0.75, 0.125 });
    const struct {
        const char* name;
        double *red, *green, *blue, *alpha;
    } kCases[] = {
        { "r", nullptr, nullptr, nullptr, nullptr },
        { "g", &r, nullptr, nullptr, nullptr },
        { "b", &r, &g, nullptr, nullptr },
        { "a", &r, &g, &b, nullptr },
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(raisedBy([&] { ExtraColorUtilities::getWhiteOrRed(color, c.red, c.green, c.blue, c.alpha); }),
            inconsistency(std::string("Bad color pointer (") + c.name + ").", "getWhiteOrRed:green:blue:alpha:", 0));
    }
    EXPECT_EQ(r + g + b + a, 0) << "nothing is stored before all are tested";
    ExtraColorUtilities::getWhiteOrRed(color, &r, &g, &b, &a);
    EXPECT_EQ((std::vector { r, g, b, a }), (std::vector { 0.25, 0.5, 0.75, 1.0 }));
}

} // namespace
