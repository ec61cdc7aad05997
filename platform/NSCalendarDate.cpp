#include "NSCalendarDate.h"

#include "NSDateFormatter.h"

std::string NSCalendarDate::description() const
{
    NSDateFormatter formatter;
    formatter.setFixedLocale();
    formatter.setTimeZone(zone);
    formatter.setDateFormat("yyyy-MM-dd HH:mm:ss xx");
    return formatter.stringFromDate(*this);
}
