#pragma once

#include "NSDate.h"
#include "NSTimeZone.h"

#include <optional>
#include <string>

/// Texts from dates and dates from texts, in the user's locale and the default time zone as they are when the formatter
/// is made.
class NSDateFormatter {
public:
    enum class Style {
        None,
        Short,
        Medium,
        Long
    };

    /// The number by which programs know the behaviour of this class.
    static constexpr int kBehavior10_4 = 1040;

    /// Class-wide, and kept for formatters yet to be made; 0 until set. There is one behaviour here, whatever the
    /// number.
    static void setDefaultFormatterBehavior(int behavior);
    static int defaultFormatterBehavior();

    /// Neither date nor time style, and so no text.
    NSDateFormatter();

    int formatterBehavior() const { return behavior; }
    void setDateStyle(Style style) { dateStyle = style; }
    void setTimeStyle(Style style) { timeStyle = style; }

    /// A pattern of Unicode date fields, which takes the place of the styles.
    void setDateFormat(const std::string& pattern) { dateFormat = pattern; }
    void setTimeZone(const NSTimeZone& zone) { timeZone = zone; }

    /// The locale of texts between programs, with the Gregorian calendar, in place of the user's.
    void setFixedLocale();

    /// Empty without a style or format, and for a date that calendars don't reach.
    std::string stringFromDate(const NSDate& date) const;

    /// Absent unless the whole text has the formatter's form. A field that is too large carries over into the next.
    std::optional<NSDate> dateFromString(const std::string& text) const;

private:
    class Icu;

    int behavior;
    Style dateStyle = Style::None;
    Style timeStyle = Style::None;
    std::string dateFormat;
    std::string locale;
    NSTimeZone timeZone;
};
