#include "ExtraContainerUtilities.h"
#include "NSData.h"
#include "UtilityStandIns.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace utility_receivers {

struct Silent { };

struct Counted {
    int count() const { return n; }
    std::string string() const { return "never asked"; }
    int n;
};

struct LongButUncounted {
    int length() const { return 1; }
    int count() const { return 0; }
};

struct Field {
    std::string stringValue() const { return content; }
    int numberOfRows() const { return 0; }
    std::string content;
};

struct Storage {
    VLR_String string() const { return content; }
    VLR_String content;
};

struct Image {
    struct Size {
        double width;
        double height;
    };
    Size size() const { return { width, height }; }
    double width;
    double height;
};

struct Table {
    long numberOfRows() const { return rows; }
    long rows;
};

struct Searched {
    NSRange rangeOfStringOptions(const VLR_String& text, uint32_t options) const
    {
        return text.Length() == 3 && options == 1 ? NSRange { 0, 3 } : NSRange { NSNotFound, 0 };
    }
};

struct AlwaysEqual {
    bool isEqual(const AlwaysEqual&) const { return true; }
    bool operator==(const AlwaysEqual&) const { return false; }
};

} // namespace utility_receivers

namespace {

using namespace ExtraContainerUtilities;
using namespace utility_receivers;

TEST(ExtraContainerUtilities, TheFirstThatIsAnsweredDecidesEmptiness)
{
    EXPECT_FALSE(isEmpty(LongButUncounted {}));
    EXPECT_TRUE(isEmpty(Counted { 0 }));
    EXPECT_FALSE(isEmpty(Counted { 2 }));
    EXPECT_TRUE(isEmpty(Field { "" }));
    EXPECT_FALSE(isEmpty(Field { "x" }));
    EXPECT_TRUE(isEmpty(Storage {}));
    EXPECT_FALSE(isEmpty(Storage { text("x") }));
    EXPECT_TRUE(isEmpty(Image { 0, 2 }));
    EXPECT_TRUE(isEmpty(Image { 2, 0 }));
    EXPECT_FALSE(isEmpty(Image { 2, 2 }));
    EXPECT_TRUE(isEmpty(Table { 0 }));
    EXPECT_TRUE(isNotEmpty(Table { 1 }));
    EXPECT_TRUE(isEmpty(NSData()));
    EXPECT_TRUE(isEmpty(std::vector<int>()));
    EXPECT_TRUE(isEmpty(std::string()));
    EXPECT_FALSE(isEmpty(std::string("\xFF"))); // no text, but not empty
    EXPECT_EQ(raisedBy([] { isEmpty(Silent {}); }),
        "-[NSObject(ExtraContainerUtilities) isEmpty]:134|Class utility_receivers::Silent does not respond to "
        "'length', 'count' or 'size'.");
}

TEST(ExtraContainerUtilities, RangesCountCodeUnits)
{
    EXPECT_EQ(wholeRange(text("a\xF0\x9F\x94\x91")), (NSRange { 0, 3 }));
    EXPECT_EQ(wholeRange(Counted { 4 }), (NSRange { 0, 4 }));
    EXPECT_EQ(wholeRange(LongButUncounted {}), (NSRange { 0, 1 }));
    EXPECT_EQ(rangeOfFirstElement(std::string()), (NSRange { 0, 1 }));
    EXPECT_EQ(rangeOfLastElement(std::string("abc")), (NSRange { 2, 1 }));
    EXPECT_EQ(rangeOfLastElement(std::string()), (NSRange { SIZE_MAX, 1 }));
}

TEST(ExtraContainerUtilities, RangeFromCountsBackFromTheEnd)
{
    constexpr char kOut[] = "-[NSObject(ExtraContainerUtilities) rangeFrom:]:189|from range out of range.";
    struct {
        int64_t from;
        NSRange range;
        const char* raised;
    } const kCases[] = {
        { 0, { 0, 5 }, "" },
        { 5, { 5, 0 }, "" },
        { 6, {}, kOut },
        { -2, { 3, 2 }, "" },
        { -5, { 0, 5 }, "" },
        { -9, { 0, 5 }, "" },
        { std::numeric_limits<int64_t>::min(), { 0, 5 }, "" },
        { std::numeric_limits<int64_t>::max(), {}, kOut },
    };
    for (const auto& c : kCases) {
        NSRange range;
        EXPECT_EQ(raisedBy([&] { range = rangeFrom(std::string("Hallo"), c.from); }), c.raised) << c.from;
        EXPECT_EQ(range, c.range) << c.from;
    }
    EXPECT_EQ(raisedBy([] { rangeFrom(Counted { 4 }, 0); }),
        inconsistency("utility_receivers::Counted does not respond to length (-[NSObject(ExtraContainerUtilities) "
                      "rangeFrom:])",
            "rangeFrom:", 175));
}

TEST(ExtraContainerUtilities, ContainsIsCaseless)
{
    EXPECT_TRUE(contains(text("Gr\xC3\xBC\xC3\x9F"
                              "e"),
        text("R\xC3\x9CSS"))); // full folding
    EXPECT_TRUE(contains("plain Text", text("n tE")));
    EXPECT_FALSE(contains(text("abc"), text("")));
    EXPECT_FALSE(contains(text(""), text("a")));
    EXPECT_TRUE(contains(Searched {}, text("abc")));
    EXPECT_FALSE(contains(Searched {}, text("abcd")));
    EXPECT_EQ(raisedBy([] { contains(Silent {}, text("a")); }),
        inconsistency("utility_receivers::Silent does not respond to rangeOfString:options: "
                      "(-[NSObject(ExtraContainerUtilities) contains:])",
            "contains:", 197));
}

TEST(ExtraContainerUtilities, IsNotEqualAsksTheReceiver)
{
    EXPECT_TRUE(isNotEqual(text("a"), text("A")));
    EXPECT_FALSE(isNotEqual(text("a"), text("a")));
    EXPECT_FALSE(isNotEqual(AlwaysEqual {}, AlwaysEqual {}));
    EXPECT_TRUE(isNotEqual(std::string("a"), "b"));
    EXPECT_FALSE(isNotEqual(NSData(), NSData::dataWithBytes("", 0)));
    EXPECT_EQ(raisedBy([] { isNotEqual(Silent {}, Silent {}); }),
        inconsistency("utility_receivers::Silent does not respond to isEqual: (-[NSObject(ExtraContainerUtilities) "
                      "isNotEqual:])",
            "isNotEqual:", 287));
}

} // namespace
