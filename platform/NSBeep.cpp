#include "NSBeep.h"

#include <unistd.h>

void NSBeep()
{
    if (::isatty(STDERR_FILENO) == 0)
        return;
    const char bell = '\a';
    if (::write(STDERR_FILENO, &bell, 1) < 0)
        return; // a bell that can't ring is no failure
}
