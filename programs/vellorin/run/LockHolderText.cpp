#include "LockHolderText.h"

#include "TimeText.h"

std::string describe(const LockHolder& holder)
{
    const std::string since = "since " + localTimeText(holder.since);
    if (!holder.hasNote)
        return "a program that left no note; it was made by " + holder.owner + " and is there " + since;
    return holder.program + ", process " + std::to_string(holder.process) + " on " + holder.host + ", " + since;
}
