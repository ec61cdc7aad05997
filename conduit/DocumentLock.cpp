#include "DocumentLock.h"

#include "NSPathUtilities.h"

#include <algorithm>
#include <utility>

namespace {

bool holds(const std::vector<std::string>& paths, const std::string& path)
{
    return std::find(paths.begin(), paths.end(), path) != paths.end();
}

} // namespace

DocumentLock::DocumentLock(LockSystem& system)
    : system_(system)
{
}

DocumentLock::~DocumentLock()
{
    unlockAllWriteLocks();
}

DocumentLock::Path DocumentLock::lockPath(const Path& path)
{
    if (!path)
        return std::nullopt;
    return stringByAppendingPathComponent(stringByDeletingLastPathComponent(*path), "." + lastPathComponent(*path));
}

const DocumentLock::Entry* DocumentLock::findWriteLockForDocument(const Path& path) const
{
    const Path wanted = lockPath(path);
    const auto found = std::find_if(fileWriteLocks_.begin(), fileWriteLocks_.end(),
        [&](const Entry& entry) { return wanted && entry.path == *wanted; });
    return found != fileWriteLocks_.end() ? &*found : nullptr;
}

bool DocumentLock::grabWriteLockForFile(const Path& path)
{
    return grabWriteLockForFile(path, /*rememberIfFailed=*/true);
}

bool DocumentLock::grabWriteLockForFile(const Path& path, bool rememberIfFailed)
{
    if (system_.systemVersion() >= kFirstSystemWithoutLocks)
        return true; // locks are out of use there, and every caller simply proceeds
    const Path lockPathOfFile = lockPath(path);
    if (!lockPathOfFile || holds(overriddenWriteLocks_, *lockPathOfFile))
        return true;
    if (holds(failedWriteLocks_, *lockPathOfFile))
        return false;
    // All memory is had before the lock is: one that is taken and not noted would never be given back.
    Entry entry { *lockPathOfFile, system_.lockWithPath(*lockPathOfFile) };
    fileWriteLocks_.reserve(fileWriteLocks_.size() + 1);
    if (entry.lock->tryLock()) {
        fileWriteLocks_.push_back(std::move(entry));
        return true;
    }
    if (findWriteLockForDocument(path) != nullptr)
        return true;
    if (rememberIfFailed)
        failedWriteLocks_.push_back(*lockPathOfFile);
    return false;
}

void DocumentLock::unlockWriteLockForDocument(const Path& path)
{
    const Entry* const entry = findWriteLockForDocument(path);
    if (entry == nullptr)
        return;
    entry->lock->unlock();
    fileWriteLocks_.erase(fileWriteLocks_.begin() + (entry - fileWriteLocks_.data()));
}

void DocumentLock::overrideWriteLockForDocument(const Path& path)
{
    const Path lockPathOfFile = lockPath(path);
    if (!lockPathOfFile)
        return;
    system_.lockWithPath(*lockPathOfFile)->breakLock();
    overriddenWriteLocks_.push_back(*lockPathOfFile);
}

void DocumentLock::unlockAllWriteLocks()
{
    for (const Entry& entry : fileWriteLocks_)
        entry.lock->unlock();
    fileWriteLocks_.clear();
}
