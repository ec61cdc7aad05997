#include "FaultyCalls.h"

#include <algorithm>

#include <unistd.h>

void FaultyCalls::set(const Fault& newFault)
{
    fault = newFault;
    calls = 0;
    struck = false;
}

/// Counts a call; true if the fault belongs to it.
bool FaultyCalls::isDue(Call call)
{
    if (beforeEachCall)
        beforeEachCall(call);
    if (!fault.among.empty() && !fault.among.contains(call))
        return false;
    const std::size_t number = calls++;
    if (fault.kind == Kind::None || number < fault.at || (!fault.fromThenOn && number != fault.at))
        return false;
    if (fault.kind == Kind::Kills)
        ::_exit(kKilled);
    return fault.error != EINTR || (number - fault.at) % 2 == 0;
}

bool FaultyCalls::fails(Call call)
{
    if (!isDue(call) || fault.kind != Kind::Fails)
        return false;
    struck = true;
    errno = fault.error;
    return true;
}

/// Counts a call that moves bytes; SIZE_MAX if it fails.
std::size_t FaultyCalls::shortened(Call call, std::size_t count)
{
    if (!isDue(call))
        return count;
    struck = true;
    errno = fault.error;
    if (fault.kind == Kind::Fails)
        return SIZE_MAX;
    return fault.kind == Kind::Empty ? 0 : std::max<std::size_t>(std::min<std::size_t>(count, 1), count / 2);
}

int FaultyCalls::close(int descriptor)
{
    const bool failing = fails();
    const int result = inner.close(descriptor);
    if (failing)
        errno = fault.error;
    return failing ? -1 : result;
}

ssize_t FaultyCalls::read(int descriptor, void* bytes, std::size_t count)
{
    const std::size_t now = shortened(Call::Read, count);
    return now == SIZE_MAX ? -1 : inner.read(descriptor, bytes, now);
}

ssize_t FaultyCalls::write(int descriptor, const void* bytes, std::size_t count)
{
    const std::size_t now = shortened(Call::Write, count);
    return now == SIZE_MAX ? -1 : inner.write(descriptor, bytes, now);
}

int FaultyCalls::sync(int descriptor)
{
    struct stat status { };
    inner.statOf(descriptor, status);
    return fails(S_ISDIR(status.st_mode) ? Call::FolderSync : Call::Sync) ? -1 : inner.sync(descriptor);
}
