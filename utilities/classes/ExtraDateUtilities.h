#pragma once

#include "NSCalendarDate.h"
#include "NSDate.h"

#include <cstdint>
#include <string>

// Classic seconds count from 1904-01-01 00:00:00 GMT in 32 bits, which wrap.

/// Operations on a date: the first argument is the receiver.
///
/// The two conversions named GMT take classic seconds as local clock time: their count carries the offset that the
/// default time zone has at the present moment. A date from the other side of a daylight saving change so comes out an
/// hour off, which callers accept. The two named 1 count in universal time.
namespace ExtraDateUtilities {

/// Whole seconds from 1904 to the date, cut toward zero, plus the offset; the low 32 bits.
uint32_t carbonSecondsGMT(const NSDate& date);

/// Takes the offset off in 32 bits: a count below it wraps around and lands in 2040.
NSDate dateWithCarbonSecondsGMT(uint32_t seconds);

/// Whole seconds from 1904 to the date, cut toward zero; the low 32 bits. 0 for a date that isn't finite.
uint32_t carbonSeconds1(const NSDate& date);
NSDate dateWithCarbonSeconds1(uint32_t seconds);

/// The time of day in the user's locale and the default time zone, in its short form or, with seconds, its medium one.
///
/// Leaves the class-wide default formatter behaviour at 1040, as does the next; callers rely on it.
std::string timeStringWithSeconds(const NSDate& date, bool seconds);

/// The day in the user's locale: 0 stands for its short form, 1 for medium, 2 for long. Any other format sets no style,
/// and a formatter without one gives no text.
std::string dateStringWithFormat(const NSDate& date, int format);

} // namespace ExtraDateUtilities

/// The same for calendar dates.
namespace ExtraCalendarDateUtilities {

/// The moment that dateWithCarbonSeconds1 gives, read in the default time zone.
NSCalendarDate calendarDateWithCarbonSeconds1(uint32_t seconds);

} // namespace ExtraCalendarDateUtilities
