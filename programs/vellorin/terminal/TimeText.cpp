#include "TimeText.h"

namespace {

std::string formatted(const char* form, const std::tm& time)
{
    char text[64] = {};
    return { text, std::strftime(text, sizeof text, form, &time) };
}

} // namespace

std::string localTimeText(std::time_t time)
{
    std::tm local {};
    if (time == 0 || ::localtime_r(&time, &local) == nullptr)
        return "unknown";
    return formatted("%Y-%m-%d %H:%M:%S", local);
}

std::string utcTimeText(std::time_t time)
{
    std::tm utc {};
    return ::gmtime_r(&time, &utc) != nullptr ? formatted("%Y-%m-%dT%H:%M:%SZ", utc) : "unknown";
}
