#pragma once

#include "NSDate.h"
#include "NSTimeZone.h"

#include <string>

/// A point in time that knows the zone in which people read it: the default zone of when it was made.
class NSCalendarDate : public NSDate {
public:
    static NSCalendarDate dateWithTimeIntervalSinceReferenceDate(double seconds) { return NSCalendarDate(seconds); }

    const NSTimeZone& timeZone() const { return zone; }

    /// "2001-01-01 00:00:00 +0000" in the date's zone, whatever the user's locale. Empty if calendars don't reach it.
    std::string description() const;

private:
    explicit NSCalendarDate(double seconds)
        : NSDate(seconds)
        , zone(NSTimeZone::defaultTimeZone())
    {
    }

    NSTimeZone zone;
};
