#include "FileMetadataCopy.h"

#include <cerrno>
#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view kAccessList = "system.posix_acl_access";
constexpr std::string_view kCapabilities = "security.capability"; // of the program that the old file was; not of data

constexpr mode_t kGroupBits = S_IRWXG;
constexpr mode_t kOtherBits = S_IRWXO;

std::vector<char> attributeNames(FileSystemCalls& calls, int descriptor)
{
    const ssize_t size = calls.listAttributes(descriptor, nullptr, 0);
    std::vector<char> names(size > 0 ? static_cast<std::size_t>(size) : 0);
    const ssize_t filled = names.empty() ? 0 : calls.listAttributes(descriptor, names.data(), names.size());
    names.resize(filled > 0 ? static_cast<std::size_t>(filled) : 0);
    names.push_back('\0'); // a list that changed meanwhile may be cut anywhere
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

/// False if there is an access list that could not be taken over.
bool copyAttributes(FileSystemCalls& calls, int from, int to, bool withAccessList)
{
    bool accessListKept = true;
    const std::vector<char> names = attributeNames(calls, from);
    for (const char* name = names.data(); *name != '\0'; name += std::strlen(name) + 1) {
        if (name == kCapabilities)
            continue;
        if (name == kAccessList && !withAccessList)
            accessListKept = false;
        else if (!copyAttribute(calls, from, to, name) && name == kAccessList)
            accessListKept = false;
    }
    return accessListKept;
}

/// A folder may give each new file an access list of its own, for people who had no access to the old file.
bool dropInheritedAccessList(FileSystemCalls& calls, int descriptor)
{
    return calls.removeAttribute(descriptor, kAccessList.data()) == 0 || errno == ENODATA || errno == EOPNOTSUPP;
}

/// What the group may do is allowed to others at most, where it is not the same group or not known what it might.
mode_t withoutGroupOfItsOwn(mode_t mode)
{
    return (mode & ~kGroupBits) | (mode & kGroupBits & ((mode & kOtherBits) << 3));
}

} // namespace

void copyFileMetadata(FileSystemCalls& calls, const struct stat& oldStatus, int oldDescriptor, int newDescriptor)
{
    const bool ownerKept = calls.changeOwner(newDescriptor, oldStatus.st_uid, static_cast<gid_t>(-1)) == 0;
    const bool groupKept = calls.changeOwner(newDescriptor, static_cast<uid_t>(-1), oldStatus.st_gid) == 0;
    const bool accessListKept = dropInheritedAccessList(calls, newDescriptor) && oldDescriptor >= 0
        && copyAttributes(calls, oldDescriptor, newDescriptor, /*withAccessList=*/groupKept);

    mode_t mode = oldStatus.st_mode & 07777;
    if (!ownerKept)
        mode &= ~static_cast<mode_t>(S_ISUID);
    if (!groupKept)
        mode &= ~static_cast<mode_t>(S_ISGID);
    if (!groupKept || !accessListKept)
        mode = withoutGroupOfItsOwn(mode);
    if (calls.changeMode(newDescriptor, mode) != 0)
        return; // it stays readable for its owner alone
}
