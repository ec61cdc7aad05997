#include "NSTimeZone.h"

#include "IcuDates.h"

#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <utility>

namespace {

constexpr int kMillisecondsPerSecond = 1000;

std::optional<NSTimeZone> gDefaultTimeZone;

std::unique_ptr<icu::TimeZone> zoneNamed(const std::string& name)
{
    return std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
}

bool isKnown(const std::string& name)
{
    static constexpr char kUnknown[] = "Etc/Unknown"; // has an entry all the same
    return name != kUnknown && *zoneNamed(name) != icu::TimeZone::getUnknown();
}

/// The offset in force now, as the C library tells it.
int systemOffset(std::time_t now)
{
    std::tm local = {};
    return ::localtime_r(&now, &local) != nullptr ? static_cast<int>(local.tm_gmtoff) : 0;
}

/// What the system's settings say, by its name. Settings may spell out a rule that has no name, which only the C
/// library reads: then it is the offset in force now.
NSTimeZone systemTimeZone()
{
    const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createDefault());
    icu::UnicodeString id;
    std::string name;
    zone->getID(id).toUTF8String(name);
    const auto now = std::chrono::system_clock::now();
    const int offset = systemOffset(std::chrono::system_clock::to_time_t(now));
    const std::optional<NSTimeZone> named = NSTimeZone::timeZoneWithName(name);
    const bool agrees = named && named->secondsFromGMTForDate(NSDate::dateWithTimePoint(now)) == offset;
    return agrees ? *named : NSTimeZone::timeZoneForSecondsFromGMT(offset);
}

std::string twoDigits(int number)
{
    return std::to_string(number / 10) + std::to_string(number % 10);
}

} // namespace

NSTimeZone::NSTimeZone(std::string name)
    : name_(std::move(name))
{
}

NSTimeZone NSTimeZone::defaultTimeZone()
{
    return gDefaultTimeZone ? *gDefaultTimeZone : systemTimeZone();
}

void NSTimeZone::setDefaultTimeZone(const std::optional<NSTimeZone>& zone)
{
    gDefaultTimeZone = zone;
}

std::optional<NSTimeZone> NSTimeZone::timeZoneWithName(const std::string& name)
{
    return isKnown(name) ? std::optional(NSTimeZone(name)) : std::nullopt;
}

std::optional<NSTimeZone> NSTimeZone::timeZoneWithAbbreviation(const std::string& abbreviation)
{
    return timeZoneWithName(abbreviation);
}

NSTimeZone NSTimeZone::timeZoneForSecondsFromGMT(int seconds)
{
    constexpr int kMost = 86399;
    const int distance = std::min(std::abs(std::max(seconds, -kMost)), kMost);
    const std::string sign = seconds < 0 ? "-" : "+";
    return NSTimeZone("GMT" + sign + twoDigits(distance / 3600) + ":" + twoDigits(distance / 60 % 60) + ":"
        + twoDigits(distance % 60));
}

int NSTimeZone::secondsFromGMT() const
{
    return secondsFromGMTForDate(NSDate::date());
}

int NSTimeZone::secondsFromGMTForDate(const NSDate& date) const
{
    const double moment = IcuDates::icuDate(date);
    const double reachable = std::isnan(moment) ? 0 : std::clamp(moment, -IcuDates::kFurthest, IcuDates::kFurthest);
    int32_t rawOffset = 0;
    int32_t daylightSaving = 0;
    UErrorCode status = U_ZERO_ERROR;
    zoneNamed(name_)->getOffset(reachable, /*local=*/false, rawOffset, daylightSaving, status);
    return U_FAILURE(status) ? 0 : (rawOffset + daylightSaving) / kMillisecondsPerSecond;
}
