#pragma once

#include "NSDate.h"

#include <chrono>
#include <cmath>

// ICU counts milliseconds since 1970.

namespace IcuDates {

inline constexpr double kFurthest = 8.64e15; // 100 million days to either side: all fields of a calendar hold them

inline double icuDate(const NSDate& date)
{
    return std::chrono::duration<double, std::milli>(date.timePoint().time_since_epoch()).count();
}

/// True for a moment that calendars reach.
inline bool isWithinCalendars(double icuDate)
{
    return std::abs(icuDate) <= kFurthest; // false for what isn't a number
}

inline NSDate dateOf(double icuDate)
{
    return NSDate::dateWithTimePoint(
        std::chrono::sys_time<std::chrono::duration<double>>(std::chrono::duration<double, std::milli>(icuDate)));
}

} // namespace IcuDates
