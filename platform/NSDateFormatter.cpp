#include "NSDateFormatter.h"

#include "IcuDates.h"

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <cstdlib>
#include <memory>

namespace {

constexpr char kFixedLocale[] = "en_US_POSIX";

int gDefaultFormatterBehavior = 0;

/// What the environment says about dates; the first of these that is set and not empty.
std::string userLocale()
{
    for (const char* const variable : { "LC_ALL", "LC_TIME", "LANG" }) {
        const char* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0')
            return value;
    }
    return "C";
}

/// "de_DE.UTF-8" and the like; "C" and its forms are the fixed locale.
icu::Locale icuLocale(const std::string& name)
{
    const std::string language = name.substr(0, name.find_first_of(".@_-"));
    return icu::Locale::createCanonical(language == "C" || language == "POSIX" ? kFixedLocale : name.c_str());
}

icu::DateFormat::EStyle icuStyle(NSDateFormatter::Style style)
{
    switch (style) {
    case NSDateFormatter::Style::None: break;
    case NSDateFormatter::Style::Short: return icu::DateFormat::kShort;
    case NSDateFormatter::Style::Medium: return icu::DateFormat::kMedium;
    case NSDateFormatter::Style::Long: return icu::DateFormat::kLong;
    }
    return icu::DateFormat::kNone;
}

std::unique_ptr<icu::DateFormat> patternFormat(const std::string& pattern, const icu::Locale& locale)
{
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern), locale, status);
    if (U_FAILURE(status))
        return nullptr;
    return format;
}

} // namespace

/// The formatter as ICU knows it; null if there is no style and no format to go by.
class NSDateFormatter::Icu {
public:
    static std::unique_ptr<icu::DateFormat> formatOf(const NSDateFormatter& formatter)
    {
        std::unique_ptr<icu::DateFormat> format = unzonedFormatOf(formatter);
        if (format != nullptr) {
            const auto zone = icu::UnicodeString::fromUTF8(formatter.timeZone.name());
            format->adoptTimeZone(icu::TimeZone::createTimeZone(zone));
        }
        return format;
    }

private:
    static std::unique_ptr<icu::DateFormat> unzonedFormatOf(const NSDateFormatter& formatter)
    {
        const icu::Locale locale = icuLocale(formatter.locale);
        if (!formatter.dateFormat.empty())
            return patternFormat(formatter.dateFormat, locale);
        if (formatter.dateStyle == Style::None && formatter.timeStyle == Style::None)
            return nullptr;
        return std::unique_ptr<icu::DateFormat>(icu::DateFormat::createDateTimeInstance(
            icuStyle(formatter.dateStyle), icuStyle(formatter.timeStyle), locale));
    }
};

void NSDateFormatter::setDefaultFormatterBehavior(int newBehavior)
{
    gDefaultFormatterBehavior = newBehavior;
}

int NSDateFormatter::defaultFormatterBehavior()
{
    return gDefaultFormatterBehavior;
}

NSDateFormatter::NSDateFormatter()
    : behavior(gDefaultFormatterBehavior)
    , locale(userLocale())
    , timeZone(NSTimeZone::defaultTimeZone())
{
}

void NSDateFormatter::setFixedLocale()
{
    locale = kFixedLocale;
}

std::string NSDateFormatter::stringFromDate(const NSDate& date) const
{
    const double moment = IcuDates::icuDate(date);
    const std::unique_ptr<icu::DateFormat> format = Icu::formatOf(*this);
    if (format == nullptr || !IcuDates::isWithinCalendars(moment))
        return "";
    icu::UnicodeString text;
    std::string result;
    return format->format(moment, text).toUTF8String(result);
}

std::optional<NSDate> NSDateFormatter::dateFromString(const std::string& text) const
{
    const std::unique_ptr<icu::DateFormat> format = Icu::formatOf(*this);
    if (format == nullptr)
        return std::nullopt;
    const icu::UnicodeString units = icu::UnicodeString::fromUTF8(text);
    icu::ParsePosition position;
    const double moment = format->parse(units, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() != units.length() || units.isEmpty())
        return std::nullopt;
    return IcuDates::dateOf(moment);
}
