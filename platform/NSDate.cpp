#include "NSDate.h"

#include "NSDateFormatter.h"
#include "NSTimeZone.h"

#include <utility>

namespace {

constexpr std::chrono::sys_days kReferenceDate = std::chrono::year(2001) / 1 / 1;

NSPresentMoment gPresentMoment;

} // namespace

NSDate NSDate::dateWithTimePoint(const std::chrono::sys_time<std::chrono::duration<double>>& point)
{
    return NSDate((point - kReferenceDate).count());
}

NSDate NSDate::date()
{
    return gPresentMoment ? gPresentMoment() : dateWithTimePoint(std::chrono::system_clock::now());
}

std::optional<NSDate> NSDate::dateWithString(const std::string& text)
{
    NSDateFormatter formatter;
    formatter.setFixedLocale();
    formatter.setDateFormat("yyyy-MM-dd HH:mm:ss xx");
    return formatter.dateFromString(text);
}

std::chrono::sys_time<std::chrono::duration<double>> NSDate::timePoint() const
{
    return kReferenceDate + std::chrono::duration<double>(seconds);
}

NSPresentMoment setPresentMoment(NSPresentMoment moment)
{
    return std::exchange(gPresentMoment, std::move(moment));
}
