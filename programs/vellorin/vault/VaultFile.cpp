#include "ExitStatus.h"
#include "NSFileManager.h"
#include "VaultContents.h"

#include <cerrno>
#include <cstring>

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& reason)
{
    throw CommandFailure(kFailed, path + ": " + reason);
}

} // namespace

VaultContents readVault(const std::string& path)
{
    LinuxFileManager files;
    errno = 0;
    std::optional<NSData> bytes = files.dataWithContentsOfFile(path);
    if (!bytes) // without a word of the system's the file is there, and not for reading
        fail(path, errno != 0 ? std::string("can't be read: ") + std::strerror(errno)
                              : "can't be read: no regular file, or too large for a vault");
    try {
        return VaultContents(std::move(*bytes));
    } catch (const NoVault& noVault) {
        fail(path, std::string("is no vault: ") + noVault.what() + " (at byte " + std::to_string(noVault.offset()) + ")");
    }
}
