#include "ExtraDateUtilities.h"

#include "NSDateFormatter.h"
#include "NSTimeZone.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <limits>
#include <optional>
#include <string>

namespace {

using namespace ExtraDateUtilities;

constexpr double kEpoch = -3061152000.0; // 1904 in seconds since 2001
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kYear2023 = 694224000.0;
constexpr double kWinter = kYear2023 + 14 * 86400; // 2023-01-15 00:00:00 GMT
constexpr double kSummer = kYear2023 + 195 * 86400; // 2023-07-15 00:00:00 GMT
constexpr double kSpringChange = kYear2023 + 84 * 86400 + 3600; // 2023-03-26 01:00:00 GMT

NSDate dateAt(double seconds)
{
    return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds);
}

/// A zone, a present moment and a locale for one test.
class ExtraDates : public testing::Test {
protected:
    ExtraDates()
    {
        take("Etc/GMT");
        setNow(kWinter);
        setLocale("C");
    }

    ~ExtraDates() override
    {
        NSTimeZone::setDefaultTimeZone(std::nullopt);
        setPresentMoment({});
        if (localeBefore)
            ::setenv("LC_ALL", localeBefore->c_str(), 1);
        else
            ::unsetenv("LC_ALL");
    }

    static void take(const std::string& zone)
    {
        NSTimeZone::setDefaultTimeZone(NSTimeZone::timeZoneWithName(zone).value());
    }
    static void takeOffset(int seconds)
    {
        NSTimeZone::setDefaultTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(seconds));
    }
    static void setNow(double seconds)
    {
        setPresentMoment([seconds] { return dateAt(seconds); });
    }
    static void setLocale(const char* name) { ::setenv("LC_ALL", name, 1); }

private:
    static std::optional<std::string> currentLocale()
    {
        const char* const value = std::getenv("LC_ALL");
        return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
    }

    const std::optional<std::string> localeBefore = currentLocale();
};

TEST_F(ExtraDates, UniversalSecondsWrapAndCut)
{
    const struct {
        const char* name;
        double date;
        uint32_t seconds;
    } kCases[] = {
        { "the epoch", kEpoch, 0 },
        { "2001", 0, 3061152000 },
        { "half a second is cut", kEpoch + 10.5, 10 },
        { "just short of a second", kEpoch + 0.999, 0 },
        { "before the epoch cut toward zero", kEpoch - 0.5, 0 },
        { "before the epoch", kEpoch - 1, 0xFFFFFFFF },
        { "and further", kEpoch - 1.5, 0xFFFFFFFF },
        { "the last second", kEpoch + 4294967295.0, 0xFFFFFFFF },
        { "the first that wraps", kEpoch + 4294967296.0, 0 },
        { "beyond 64 bits", 1e300, 0 },
        { "furthest", -std::numeric_limits<double>::max(), 0 },
        { "infinite", kInfinity, 0 },
        { "not a number", std::nan(""), 0 },
    };
    takeOffset(3600); // without any effect
    for (const auto& c : kCases)
        EXPECT_EQ(carbonSeconds1(dateAt(c.date)), c.seconds) << c.name;
    EXPECT_EQ(dateWithCarbonSeconds1(0), dateAt(kEpoch));
    EXPECT_EQ(dateWithCarbonSeconds1(0xFFFFFFFF), NSDate::dateWithString("2040-02-06 06:28:15 +0000"));
}

TEST_F(ExtraDates, LocalSecondsCarryTheOffsetOfNow)
{
    const struct {
        const char* zone;
        double now;
        int offset;
    } kCases[] = {
        { "Etc/GMT", kWinter, 0 },
        { "Europe/Berlin", kWinter, 3600 },
        { "Europe/Berlin", kSummer, 7200 },
        { "Europe/Berlin", kSpringChange - 1, 3600 },
        { "Europe/Berlin", kSpringChange, 7200 },
        { "America/New_York", kWinter, -18000 },
        { "America/New_York", kSummer, -14400 },
        { "Asia/Kathmandu", kSummer, 20700 },
        { "Australia/Lord_Howe", kWinter, 39600 },
        { "Australia/Lord_Howe", kSummer, 37800 },
        { "GMT-00:00:01", kWinter, -1 },
    };
    for (const auto& c : kCases) {
        take(c.zone);
        setNow(c.now);
        const auto offset = static_cast<uint32_t>(c.offset);
        EXPECT_EQ(NSTimeZone::defaultTimeZone().secondsFromGMT(), c.offset) << c.zone;
        for (const double date : { kEpoch, kWinter, kSummer }) // the date converted has no say
            EXPECT_EQ(carbonSecondsGMT(dateAt(date + 0.5)), carbonSeconds1(dateAt(date)) + offset) << c.zone;
        for (const uint32_t seconds : { 0u, 3599u, 18000u, 0x80000000u, 0xFFFFFFFFu }) {
            EXPECT_EQ(dateWithCarbonSecondsGMT(seconds), dateWithCarbonSeconds1(seconds - offset)) << c.zone;
            EXPECT_EQ(carbonSecondsGMT(dateWithCarbonSecondsGMT(seconds)), seconds) << c.zone;
        }
    }
}

TEST_F(ExtraDates, ASystemZoneWithoutANameCountsToo)
{
    const char* const before = std::getenv("TZ");
    const std::optional<std::string> zoneBefore = before != nullptr ? std::optional<std::string>(before) : std::nullopt;
    ::setenv("TZ", "XYZ-5:30", 1);
    ::tzset();
    NSTimeZone::setDefaultTimeZone(std::nullopt);
    EXPECT_EQ(carbonSecondsGMT(dateAt(kEpoch)), 19800u);
    EXPECT_EQ(timeStringWithSeconds(dateAt(kEpoch), false).substr(0, 4), "5:30");
    if (zoneBefore)
        ::setenv("TZ", zoneBefore->c_str(), 1);
    else
        ::unsetenv("TZ");
    ::tzset();
}

TEST_F(ExtraDates, LocalZeroEastOfGreenwichLandsIn2040)
{
    takeOffset(3600);
    EXPECT_EQ(dateWithCarbonSecondsGMT(0), dateAt(kEpoch + 4294967296.0 - 3600));
    EXPECT_EQ(carbonSecondsGMT(dateAt(kEpoch)), 3600u);
    takeOffset(-3600);
    EXPECT_EQ(dateWithCarbonSecondsGMT(0), dateAt(kEpoch + 3600));
    EXPECT_EQ(carbonSecondsGMT(dateAt(kEpoch)), 0xFFFFFFFFu - 3599);
    EXPECT_EQ(carbonSecondsGMT(dateAt(kInfinity)), 0xFFFFFFFFu - 3599);
}

TEST_F(ExtraDates, TheEpochIsTheSameInAnyLocaleAndZone)
{
    for (const char* const locale : { "th_TH.UTF-8", "fa_IR", "ar_SA", "ja_JP@calendar=japanese", "nowhere" }) {
        setLocale(locale);
        for (const char* const zone : { "Asia/Tokyo", "Europe/Berlin", "America/New_York" }) {
            take(zone);
            EXPECT_EQ(dateWithCarbonSeconds1(0), dateAt(kEpoch)) << locale;
            EXPECT_EQ(
                carbonSecondsGMT(dateAt(kEpoch)), static_cast<uint32_t>(NSTimeZone::defaultTimeZone().secondsFromGMT()))
                << locale;
        }
    }
}

TEST_F(ExtraDates, CalendarDatesAreTheSameMoment)
{
    take("Europe/Berlin");
    const NSCalendarDate date = ExtraCalendarDateUtilities::calendarDateWithCarbonSeconds1(3061152000);
    EXPECT_EQ(date.timeIntervalSinceReferenceDate(), 0);
    EXPECT_EQ(date.description(), "2001-01-01 01:00:00 +0100");
    take("America/New_York");
    EXPECT_EQ(date.description(), "2001-01-01 01:00:00 +0100") << "the zone of when it was made";
    EXPECT_EQ(ExtraCalendarDateUtilities::calendarDateWithCarbonSeconds1(0).description(), "1903-12-31 19:00:00 -0500");
}

TEST_F(ExtraDates, DisplayFollowsLocaleAndZone)
{
    const NSDate date = NSDate::dateWithString("2040-02-06 06:28:15 +0000").value();
    const struct {
        const char *locale, *zone, *time, *timeWithSeconds, *shortDate, *mediumDate, *longDate;
    } kCases[] = {
        { "de_DE.UTF-8", "Europe/Berlin", "07:28", "07:28:15", "06.02.40", "06.02.2040", "6. Februar 2040" },
        { "de_DE", "America/New_York", "01:28", "01:28:15", "06.02.40", "06.02.2040", "6. Februar 2040" },
        { "fr_FR.UTF-8@euro", "Pacific/Honolulu", "20:28", "20:28:15", "05/02/2040", "5 f\u00E9vr. 2040",
            "5 f\u00E9vrier 2040" },
        { "C.UTF-8", "Etc/GMT", "06:28", "06:28:15", "2/6/40", "Feb 6, 2040", "February 6, 2040" },
    };
    for (const auto& c : kCases) {
        setLocale(c.locale);
        take(c.zone);
        if (std::string(c.locale) != "C.UTF-8") { // its clock has twelve hours, whose mark differs between releases
            EXPECT_EQ(timeStringWithSeconds(date, false), c.time) << c.locale;
            EXPECT_EQ(timeStringWithSeconds(date, true), c.timeWithSeconds) << c.locale;
        }
        EXPECT_EQ(dateStringWithFormat(date, 0), c.shortDate) << c.locale;
        EXPECT_EQ(dateStringWithFormat(date, 1), c.mediumDate) << c.locale;
        EXPECT_EQ(dateStringWithFormat(date, 2), c.longDate) << c.locale;
        for (const int format : { -1, 3, 1040 })
            EXPECT_EQ(dateStringWithFormat(date, format), "") << c.locale;
    }
}

TEST_F(ExtraDates, DisplayFollowsTheDaylightSavingOfTheDate)
{
    setLocale("de_DE.UTF-8");
    take("Europe/Berlin");
    EXPECT_EQ(timeStringWithSeconds(dateAt(kSummer), false), "02:00"); // though it is winter now
    EXPECT_EQ(timeStringWithSeconds(dateAt(kSpringChange - 1), true), "01:59:59");
    EXPECT_EQ(timeStringWithSeconds(dateAt(kSpringChange), true), "03:00:00");
}

TEST_F(ExtraDates, DisplayLeavesTheFormatterBehaviour)
{
    const auto behaviorAfter = [](const std::function<void()>& work) {
        NSDateFormatter::setDefaultFormatterBehavior(0);
        work();
        return NSDateFormatter::defaultFormatterBehavior();
    };
    EXPECT_EQ(behaviorAfter([] { timeStringWithSeconds(dateAt(0), true); }), 1040);
    EXPECT_EQ(behaviorAfter([] { dateStringWithFormat(dateAt(0), 7); }), 1040);
    EXPECT_EQ(NSDateFormatter().formatterBehavior(), 1040);
    EXPECT_EQ(behaviorAfter([] { carbonSecondsGMT(dateWithCarbonSeconds1(1)); }), 0);
}

TEST_F(ExtraDates, DatesThatNoCalendarReachesHaveNoText)
{
    for (const double seconds : { std::nan(""), kInfinity, -kInfinity, 1e18, -1e300 }) {
        EXPECT_EQ(dateStringWithFormat(dateAt(seconds), 2), "") << seconds;
        EXPECT_EQ(timeStringWithSeconds(dateAt(seconds), true), "") << seconds;
        EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(60).secondsFromGMTForDate(dateAt(seconds)), 60) << seconds;
        setNow(seconds); // a broken clock
        EXPECT_EQ(carbonSecondsGMT(dateAt(kEpoch + 1)), 1u);
    }
}

TEST_F(ExtraDates, TextsOfOtherFormsAreNoDates)
{
    EXPECT_EQ(NSDate::dateWithString("2001-01-01 01:30:00 +0130"), dateAt(0));
    for (const char* const text : { "", "2001-01-01", "2001-01-01 00:00:00", "2001-01-01 00:00:00 +0000 ", "\xFF" })
        EXPECT_EQ(NSDate::dateWithString(text), std::nullopt) << text;
    EXPECT_FALSE(NSTimeZone::timeZoneWithName("Nowhere/Atlantis"));
    EXPECT_FALSE(NSTimeZone::timeZoneWithAbbreviation(""));
}

} // namespace
