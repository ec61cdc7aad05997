#pragma once

#include <chrono>
#include <compare>
#include <functional>
#include <optional>
#include <string>

/// A point in time: seconds, with fractions, since 2001-01-01 00:00:00 GMT.
class NSDate {
public:
    static NSDate dateWithTimeIntervalSinceReferenceDate(double seconds) { return NSDate(seconds); }
    static NSDate dateWithTimePoint(const std::chrono::sys_time<std::chrono::duration<double>>& point);

    /// The present moment.
    static NSDate date();

    /// Reads the form "2001-01-01 00:00:00 +0000", whatever the user's locale; absent for another form.
    static std::optional<NSDate> dateWithString(const std::string& text);

    double timeIntervalSinceReferenceDate() const { return seconds; }
    double timeIntervalSinceDate(const NSDate& other) const { return seconds - other.seconds; }
    NSDate dateByAddingTimeInterval(double interval) const { return NSDate(seconds + interval); }
    std::chrono::sys_time<std::chrono::duration<double>> timePoint() const;

    auto operator<=>(const NSDate&) const = default;

protected:
    explicit NSDate(double seconds)
        : seconds(seconds)
    {
    }

private:
    double seconds;
};

/// Tells the present moment.
using NSPresentMoment = std::function<NSDate()>;

/// Puts another source of the present moment in place and returns the one before; an empty one stands for the system's
/// clock.
NSPresentMoment setPresentMoment(NSPresentMoment moment);
