#include "NSArchiver.h"
#include "UtilityStandIns.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using List = NSPropertyList;

constexpr char kExample[] = "VLAr\1d\0\0\0\2\0\0\0\2idi\0\0\0\0\0\0\0\1\0\0\0\2onT";

NSData bytes(const std::string& content)
{
    return NSData::dataWithBytes(content.data(), content.size());
}

/// Every kind of value, each at an edge of its range.
List everyKind()
{
    return { List::Dictionary {
        { "", { std::string() } },
        { "array", { List::Array { { true }, { false }, { List::Array() }, { List::Dictionary() } } } },
        { "bytes\xFF", { std::string("a\0b\xFF", 4) } },
        { "data", { bytes(std::string("\0\1\2", 3)) } },
        { "date", { List::Date { -0.5 } } },
        { "integer", { std::numeric_limits<int64_t>::min() } },
        { "none", { NSData() } },
        { "real", { 1e308 } },
    } };
}

/// The value inside so many arrays.
List nested(std::size_t arrays)
{
    List value { true };
    for (std::size_t i = 0; i < arrays; ++i)
        value = { List::Array { std::move(value) } };
    return value;
}

List items(std::size_t count)
{
    return { List::Array(count, List { true }) };
}

std::string failureOf(const std::string& archive)
{
    return raisedBy([&] { NSArchiver::unarchiveObjectWithData(archive); });
}

TEST(NSArchiver, ValuesComeBackAsTheyWere)
{
    const std::string archive = NSArchiver::archivedDataWithRootObject(everyKind());
    EXPECT_EQ(NSArchiver::unarchiveObjectWithData(archive), everyKind());
    const List example { List::Dictionary { { "on", { true } }, { "id", { int64_t { 1 } } } } };
    EXPECT_EQ(NSArchiver::archivedDataWithRootObject(example), std::string(kExample, sizeof kExample - 1));
}

TEST(NSArchiver, BothDirectionsKeepTheBounds)
{
    struct {
        const char* name;
        List value;
        const char* raised;
    } const kCases[] = {
        { "deepest", nested(31), "" },
        { "too deep", nested(32), "nested too deep" },
        { "most", items(65535), "" },
        { "too many", items(65536), "too many values" },
        { "largest", { std::string((16 << 20) - 10, 'x') }, "" },
        { "too large", { std::string((16 << 20) - 9, 'x') }, "too large" },
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        std::string archive;
        const std::string raised = raisedBy([&] { archive = NSArchiver::archivedDataWithRootObject(c.value); });
        EXPECT_EQ(raised, *c.raised == '\0' ? "" : std::string("NSInvalidArchiveOperationException|") + c.raised);
        if (raised.empty()) {
            EXPECT_TRUE(NSArchiver::unarchiveObjectWithData(archive) == c.value);
        }
    }
}

TEST(NSArchiver, DamageIsRefusedByName)
{
    const auto behindHeader = [](const std::string& value) { return "VLAr\1" + value; };
    const std::string array("a\0\0\0\1", 5);
    std::string deep;
    for (int i = 0; i < 40000; ++i)
        deep += array;
    struct {
        std::string archive;
        const char* raised;
    } const kCases[] = {
        { "", "no archive of this version" },
        { "VLAr\2T", "no archive of this version" },
        { "VLAr\1", "cut short" },
        { behindHeader("TT"), "bytes behind the value" },
        { behindHeader("x"), "unknown kind of value" },
        { behindHeader("i\1\2\3"), "cut short" },
        { behindHeader("s\xFF\xFF\xFF\xFFz"), "cut short" },
        { behindHeader("a\xFF\xFF\xFF\xFFT"), "cut short" }, // and no room is made for four thousand million
        { behindHeader("a\xFF\xFF\xFF\xFF" + std::string(70000, 'T')), "too many values" },
        { behindHeader(deep), "nested too deep" },
        { behindHeader(std::string("d\0\0\0\2\0\0\0\1bT\0\0\0\1aT", 17)), "keys out of order" },
        { behindHeader(std::string("d\0\0\0\2\0\0\0\1aT\0\0\0\1aT", 17)), "keys out of order" }, // twice
        { behindHeader(std::string(16 << 20, 'T')), "too large" },
    };
    for (const auto& c : kCases)
        EXPECT_EQ(failureOf(c.archive), std::string("NSInvalidUnarchiveOperationException|") + c.raised) << &c - kCases;
}

TEST(NSArchiver, CutAnywhereItIsRefused)
{
    const std::string archive = NSArchiver::archivedDataWithRootObject(everyKind());
    for (std::size_t length = 0; length < archive.size(); ++length)
        EXPECT_NE(failureOf(archive.substr(0, length)), "") << length;
}

/// A value has one form only: what is read at all is written again with the same bytes.
TEST(NSArchiver, AChangedByteIsRefusedOrMeansSomethingElse)
{
    const std::string archive = NSArchiver::archivedDataWithRootObject(everyKind());
    std::size_t refused = 0;
    for (std::size_t i = 0; i < archive.size(); ++i) {
        for (int difference = 1; difference < 256; ++difference) {
            std::string changed = archive;
            changed[i] = static_cast<char>(changed[i] ^ difference);
            List value;
            if (!raisedBy([&] { value = NSArchiver::unarchiveObjectWithData(changed); }).empty()) {
                ++refused;
                continue;
            }
            ASSERT_EQ(NSArchiver::archivedDataWithRootObject(value), changed) << i;
        }
    }
    EXPECT_GT(refused, archive.size() * 100);
}

} // namespace
