#include "FaultyCalls.h"

#include <algorithm>
#include <cerrno>

#include <unistd.h>

void FaultyCalls::set(const Fault& newFault)
{
    fault = newFault;
    calls = 0;
    struck = false;
}

/// Counts a call; true if the fault belongs to it.
bool FaultyCalls::isDue()
{
    if (beforeEachCall)
        beforeEachCall();
    const std::size_t number = calls++;
    if (fault.kind == Kind::None || number < fault.at || (!fault.fromThenOn && number != fault.at))
        return false;
    if (fault.kind == Kind::Kills)
        ::_exit(kKilled);
    return fault.error != EINTR || (number - fault.at) % 2 == 0;
}

bool FaultyCalls::fails()
{
    if (!isDue() || fault.kind != Kind::Fails)
        return false;
    struck = true;
    errno = fault.error;
    return true;
}

/// Counts a call that moves bytes; SIZE_MAX if it fails.
std::size_t FaultyCalls::shortened(std::size_t count)
{
    if (!isDue())
        return count;
    struck = true;
    errno = fault.error;
    return fault.kind == Kind::Short ? std::max<std::size_t>(std::min<std::size_t>(count, 1), count / 2) : SIZE_MAX;
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
    const std::size_t now = shortened(count);
    return now == SIZE_MAX ? -1 : inner.read(descriptor, bytes, now);
}

ssize_t FaultyCalls::write(int descriptor, const void* bytes, std::size_t count)
{
    const std::size_t now = shortened(count);
    return now == SIZE_MAX ? -1 : inner.write(descriptor, bytes, now);
}

int FaultyCalls::openAt(int folder, const std::string& name, int flags, mode_t mode)
{
    return fails() ? -1 : inner.openAt(folder, name, flags, mode);
}

int FaultyCalls::sync(int descriptor)
{
    return fails() ? -1 : inner.sync(descriptor);
}

int FaultyCalls::statAt(int folder, const std::string& name, struct stat& status, int flags)
{
    return fails() ? -1 : inner.statAt(folder, name, status, flags);
}

int FaultyCalls::statOf(int descriptor, struct stat& status)
{
    return fails() ? -1 : inner.statOf(descriptor, status);
}

int FaultyCalls::renameAt(int folder, const std::string& from, const std::string& to)
{
    return fails() ? -1 : inner.renameAt(folder, from, to);
}

int FaultyCalls::unlinkAt(int folder, const std::string& name)
{
    return fails() ? -1 : inner.unlinkAt(folder, name);
}

int FaultyCalls::changeMode(int descriptor, mode_t mode)
{
    return fails() ? -1 : inner.changeMode(descriptor, mode);
}

int FaultyCalls::changeOwner(int descriptor, uid_t owner, gid_t group)
{
    return fails() ? -1 : inner.changeOwner(descriptor, owner, group);
}

ssize_t FaultyCalls::readLinkAt(int folder, const std::string& name, char* target, std::size_t size)
{
    return fails() ? -1 : inner.readLinkAt(folder, name, target, size);
}

ssize_t FaultyCalls::listAttributes(int descriptor, char* names, std::size_t size)
{
    return fails() ? -1 : inner.listAttributes(descriptor, names, size);
}

ssize_t FaultyCalls::getAttribute(int descriptor, const char* name, void* value, std::size_t size)
{
    return fails() ? -1 : inner.getAttribute(descriptor, name, value, size);
}

int FaultyCalls::setAttribute(int descriptor, const char* name, const void* value, std::size_t size)
{
    return fails() ? -1 : inner.setAttribute(descriptor, name, value, size);
}

int FaultyCalls::removeAttribute(int descriptor, const char* name)
{
    return fails() ? -1 : inner.removeAttribute(descriptor, name);
}

ssize_t FaultyCalls::getPathAttribute(const std::string& path, const char* name, void* value, std::size_t size)
{
    return fails() ? -1 : inner.getPathAttribute(path, name, value, size);
}

int FaultyCalls::setPathAttribute(const std::string& path, const char* name, const void* value, std::size_t size)
{
    return fails() ? -1 : inner.setPathAttribute(path, name, value, size);
}

int FaultyCalls::makeFolderAt(int folder, const std::string& name, mode_t mode)
{
    return fails() ? -1 : inner.makeFolderAt(folder, name, mode);
}

int FaultyCalls::removeFolderAt(int folder, const std::string& name)
{
    return fails() ? -1 : inner.removeFolderAt(folder, name);
}

int FaultyCalls::namesIn(int folder, std::vector<std::string>& names)
{
    return fails() ? -1 : inner.namesIn(folder, names);
}

int FaultyCalls::markInUse(int descriptor)
{
    return fails() ? -1 : inner.markInUse(descriptor);
}

int FaultyCalls::clone(int from, int to)
{
    return fails() ? -1 : inner.clone(from, to);
}

int FaultyCalls::setTimes(int descriptor, const struct timespec& accessed, const struct timespec& modified)
{
    return fails() ? -1 : inner.setTimes(descriptor, accessed, modified);
}

int FaultyCalls::renameToFreeNameAt(int folder, const std::string& from, const std::string& to)
{
    return fails() ? -1 : inner.renameToFreeNameAt(folder, from, to);
}

int FaultyCalls::linkAt(int folder, const std::string& from, const std::string& to)
{
    return fails() ? -1 : inner.linkAt(folder, from, to);
}
