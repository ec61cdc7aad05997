#include "Interruption.h"
#include "Sleeper.h"

void LinuxSleeper::sleep(std::chrono::microseconds duration)
{
    sleepUnlessInterrupted(std::chrono::ceil<std::chrono::milliseconds>(duration));
}
