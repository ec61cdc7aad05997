#include "KilledRuns.h"

#include "DocumentLock.h"
#include "FilePaths.h"
#include "FileSteps.h"
#include "Journal.h"
#include "Leftovers.h"

#include <algorithm>

#include <fcntl.h>

namespace {

bool hasNameLike(FileSystemCalls& calls, const std::string& folder, const auto& isWanted)
{
    const StDescriptor open(calls, calls.openAt(AT_FDCWD, folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    std::vector<std::string> names;
    return open.value >= 0 && calls.namesIn(open.value, names) == 0
        && std::any_of(names.begin(), names.end(), isWanted);
}

/// Taking a lock removes what is left of it, and lies beside the path; the files lie where links lead to.
void removeLeftoversOf(const std::string& path, LockSystem& locks)
{
    FileSystemCalls& calls = fileSystemCalls();
    const std::string known = absolutePath(path);
    const std::string file = canonicalPath(path);
    const std::string lockName = nameOf(*DocumentLock::lockPath(known));
    const bool hasFiles = hasNameLike(
        calls, folderOf(file), [&](const std::string& name) { return isTemporaryName(name, nameOf(file)); });
    const bool hasLocks = hasNameLike(
        calls, folderOf(known), [&](const std::string& name) { return name.starts_with(lockName + "."); });
    DocumentLock lock(locks);
    if (!(hasFiles || hasLocks) || !lock.grabWriteLockForFile(known, /*rememberIfFailed=*/false))
        return;
    const StDescriptor folder(calls, calls.openAt(AT_FDCWD, folderOf(file), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (folder.value >= 0)
        removeLeftoverFiles(calls, folder.value, nameOf(file));
}

} // namespace

void removeLeftoversOf(const std::vector<std::string>& paths, LockSystem& locks)
{
    for (const std::string& path : paths)
        removeLeftoversOf(path, locks);
}
