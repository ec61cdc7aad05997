#include "Sandbox.h"

#include "FilePaths.h"
#include "FileSteps.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Rights that the kernel's header may be too old to know.
constexpr uint64_t kTruncate = uint64_t { 1 } << 14;
constexpr uint64_t kUseDevices = uint64_t { 1 } << 15;

constexpr long kVersionWithTruncate = 3;
constexpr long kVersionWithDevices = 5;

/// Renaming from folder to folder is not among them: the kernel refuses it to a restricted process in any case.
constexpr uint64_t kGranted = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR | LANDLOCK_ACCESS_FS_WRITE_FILE
    | LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE
    | LANDLOCK_ACCESS_FS_REMOVE_DIR | kTruncate;
constexpr uint64_t kNotGranted = LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_MAKE_CHAR
    | LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_BLOCK
    | LANDLOCK_ACCESS_FS_MAKE_SYM | kUseDevices;

class Descriptor {
public:
    explicit Descriptor(long value)
        : value(static_cast<int>(value))
    {
    }
    ~Descriptor()
    {
        if (value >= 0)
            ::close(value);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    const int value;
};

/// Not positive where the kernel has no such restriction, or it is turned off.
long kernelVersion()
{
    return ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
}

uint64_t rightsKnownTo(long version)
{
    uint64_t rights = kGranted | kNotGranted;
    if (version < kVersionWithTruncate)
        rights &= ~kTruncate;
    if (version < kVersionWithDevices)
        rights &= ~kUseDevices;
    return rights;
}

/// False if the rule could not be made, though the folder is there.
bool grant(int ruleset, uint64_t rights, const std::string& folder)
{
    const Descriptor open(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (open.value < 0)
        return true;
    landlock_path_beneath_attr rule {};
    rule.allowed_access = rights;
    rule.parent_fd = open.value;
    return ::syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
}

} // namespace

bool Sandbox::restrictToFolders(const std::vector<std::string>& folders)
{
    const long version = kernelVersion();
    if (version <= 0)
        return false;
    landlock_ruleset_attr handled {};
    handled.handled_access_fs = rightsKnownTo(version);
    const Descriptor ruleset(::syscall(SYS_landlock_create_ruleset, &handled, sizeof handled, 0));
    if (ruleset.value < 0)
        return false;
    for (const std::string& folder : folders) {
        if (!grant(ruleset.value, kGranted & handled.handled_access_fs, folder))
            return false;
    }
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0
        && ::syscall(SYS_landlock_restrict_self, ruleset.value, 0) == 0;
}

std::vector<std::string> Sandbox::foldersOfFile(const std::string& path)
{
    std::vector<std::string> folders { folderOf(path) };
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
    if (real)
        folders.push_back(folderOf(real.get()));
    return folders;
}

bool Sandbox::restrictToFoldersOfFiles(const std::vector<std::string>& files, std::vector<std::string> further)
{
    for (const std::string& file : files) {
        const std::vector<std::string> folders = foldersOfFile(absolutePath(file));
        further.insert(further.end(), folders.begin(), folders.end());
    }
    return restrictToFolders(further);
}
