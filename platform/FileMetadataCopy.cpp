#include "FileMetadataCopy.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>

namespace {

constexpr char kAccessList[] = "system.posix_acl_access";

bool isAccessList(std::string_view name)
{
    return name == kAccessList || name == "system.nfs4_acl";
}

/// A hash of the old content, a signature over that hash, or the rights of the program that the content was.
bool isBoundToContent(std::string_view name)
{
    return name == "security.ima" || name == "security.evm" || name == "security.capability";
}

/// The names, each with its zero, and another zero; absent if they can't be known.
std::optional<std::vector<char>> attributeNames(FileSystemCalls& calls, int descriptor)
{
    const ssize_t size = calls.listAttributes(descriptor, nullptr, 0);
    if (size < 0 && errno != EOPNOTSUPP)
        return std::nullopt;
    std::vector<char> names(size > 0 ? static_cast<std::size_t>(size) : 0);
    const ssize_t filled = names.empty() ? 0 : calls.listAttributes(descriptor, names.data(), names.size());
    if (filled < 0) // they have grown meanwhile
        return std::nullopt;
    names.resize(static_cast<std::size_t>(filled));
    names.push_back('\0');
    return names;
}

bool copyAttribute(FileSystemCalls& calls, int from, int to, const char* name)
{
    const ssize_t size = calls.getAttribute(from, name, nullptr, 0);
    if (size < 0)
        return false;
    std::vector<char> value(static_cast<std::size_t>(size) + 1);
    const ssize_t filled = calls.getAttribute(from, name, value.data(), value.size());
    return filled >= 0 && calls.setAttribute(to, name, value.data(), static_cast<std::size_t>(filled)) == 0;
}

/// False if there is an access list that was not taken over, or may be one.
bool copyAttributes(FileSystemCalls& calls, int from, int to, bool withAccessList)
{
    const std::optional<std::vector<char>> names = attributeNames(calls, from);
    if (!names)
        return false;
    bool accessListKept = true;
    for (const char* name = names->data(); *name != '\0'; name += std::strlen(name) + 1) {
        const bool isWanted = !isBoundToContent(name) && (withAccessList || !isAccessList(name));
        const bool isKept = isWanted && copyAttribute(calls, from, to, name);
        if (isAccessList(name) && !isKept)
            accessListKept = false;
    }
    return accessListKept;
}

/// A folder may give each new file an access list of its own, for people who had no access to the old file.
bool dropInheritedAccessList(FileSystemCalls& calls, int descriptor)
{
    return calls.removeAttribute(descriptor, kAccessList) == 0 || errno == ENODATA || errno == EOPNOTSUPP;
}

/// Members of the old group are others now, and others may be members of the new one: both may do what both might.
mode_t forAnotherGroup(mode_t mode)
{
    const mode_t both = (mode >> 3) & mode & S_IRWXO;
    return (mode & S_IRWXU) | (both << 3) | both;
}

/// The list may have shut out anybody, and what it left to the group does not stand in the mode.
mode_t withoutAccessList(mode_t mode)
{
    return mode & S_IRWXU;
}

} // namespace

void copyFileMetadata(FileSystemCalls& calls, const struct stat& oldStatus, int oldDescriptor, int newDescriptor)
{
    calls.changeOwner(newDescriptor, oldStatus.st_uid, static_cast<gid_t>(-1)); // if not, its writer owns it
    const bool groupKept = calls.changeOwner(newDescriptor, static_cast<uid_t>(-1), oldStatus.st_gid) == 0;
    const bool accessListKept = dropInheritedAccessList(calls, newDescriptor) && oldDescriptor >= 0
        && copyAttributes(calls, oldDescriptor, newDescriptor, /*withAccessList=*/groupKept);

    mode_t mode = oldStatus.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO); // new content runs as nobody
    if (!groupKept)
        mode = forAnotherGroup(mode);
    if (!accessListKept)
        mode = withoutAccessList(mode);
    if (calls.changeMode(newDescriptor, mode) != 0)
        return; // it stays readable for its owner alone
}
