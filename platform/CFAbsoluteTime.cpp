#include "CFAbsoluteTime.h"

#include <chrono>

CFAbsoluteTime LinuxClock::CFAbsoluteTimeGetCurrent() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
