#include "ExtraDateUtilities.h"

#include "NSDateFormatter.h"
#include "NSTimeZone.h"
#include "Truncation.h"

namespace {

/// The start of classic seconds, as the GMT operations make it: anew for each call.
NSDate epochGMT()
{
    NSDateFormatter formatter;
    formatter.setFixedLocale(); // the user's calendar may count other years
    formatter.setDateFormat("yyyy-dd-MM hh:mm:ss"); // day before month, as always; both are 01 here
    formatter.setTimeZone(NSTimeZone::timeZoneWithAbbreviation("GMT").value());
    return formatter.dateFromString("1904-01-01 00:00:00").value();
}

/// The same instant, as the other operations make it.
NSDate epoch1()
{
    return NSDate::dateWithString("1904-01-01 00:00:00 +0000").value();
}

uint32_t currentOffset()
{
    return static_cast<uint32_t>(NSTimeZone::defaultTimeZone().secondsFromGMT());
}

NSDateFormatter modernFormatter()
{
    NSDateFormatter::setDefaultFormatterBehavior(NSDateFormatter::kBehavior10_4); // stays behind
    return NSDateFormatter();
}

} // namespace

uint32_t ExtraDateUtilities::carbonSecondsGMT(const NSDate& date)
{
    return truncatedLow32(date.timeIntervalSinceDate(epochGMT())) + currentOffset(); // wraps on purpose
}

NSDate ExtraDateUtilities::dateWithCarbonSecondsGMT(uint32_t seconds)
{
    const uint32_t universal = seconds - currentOffset(); // wraps on purpose
    return epochGMT().dateByAddingTimeInterval(universal);
}

uint32_t ExtraDateUtilities::carbonSeconds1(const NSDate& date)
{
    return truncatedLow32(date.timeIntervalSinceDate(epoch1()));
}

NSDate ExtraDateUtilities::dateWithCarbonSeconds1(uint32_t seconds)
{
    return epoch1().dateByAddingTimeInterval(seconds);
}

std::string ExtraDateUtilities::timeStringWithSeconds(const NSDate& date, bool seconds)
{
    NSDateFormatter formatter = modernFormatter();
    formatter.setDateStyle(NSDateFormatter::Style::None);
    formatter.setTimeStyle(seconds ? NSDateFormatter::Style::Medium : NSDateFormatter::Style::Short);
    return formatter.stringFromDate(date);
}

std::string ExtraDateUtilities::dateStringWithFormat(const NSDate& date, int format)
{
    NSDateFormatter formatter = modernFormatter();
    formatter.setTimeStyle(NSDateFormatter::Style::None);
    switch (format) {
    case 0: formatter.setDateStyle(NSDateFormatter::Style::Short); break;
    case 1: formatter.setDateStyle(NSDateFormatter::Style::Medium); break;
    case 2: formatter.setDateStyle(NSDateFormatter::Style::Long); break;
    default: break;
    }
    return formatter.stringFromDate(date);
}

NSCalendarDate ExtraCalendarDateUtilities::calendarDateWithCarbonSeconds1(uint32_t seconds)
{
    const NSDate date = ExtraDateUtilities::dateWithCarbonSeconds1(seconds);
    return NSCalendarDate::dateWithTimeIntervalSinceReferenceDate(date.timeIntervalSinceReferenceDate());
}
