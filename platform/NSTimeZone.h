#pragma once

#include "NSDate.h"

#include <optional>
#include <string>

/// A time zone, by the name that zone data knows it under.
class NSTimeZone {
public:
    /// The zone of the process: the one that was set, or else the system's.
    static NSTimeZone defaultTimeZone();

    /// An absent zone stands for the system's again.
    static void setDefaultTimeZone(const std::optional<NSTimeZone>& zone);

    /// Absent if zone data doesn't know the name, as "Europe/Berlin", or the abbreviation, as "GMT".
    static std::optional<NSTimeZone> timeZoneWithName(const std::string& name);
    static std::optional<NSTimeZone> timeZoneWithAbbreviation(const std::string& abbreviation);

    /// A zone without daylight saving, east of GMT where positive. Less than a day.
    static NSTimeZone timeZoneForSecondsFromGMT(int seconds);

    const std::string& name() const { return name_; }

    /// The offset at the present moment, east of GMT where positive.
    int secondsFromGMT() const;

    /// The offset at a date, with daylight saving. That of the nearest date that calendars reach, if this one doesn't.
    int secondsFromGMTForDate(const NSDate& date) const;

private:
    explicit NSTimeZone(std::string name);

    std::string name_;
};
