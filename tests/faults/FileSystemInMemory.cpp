#include "FileSystemInMemory.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

int failWith(int error)
{
    errno = error;
    return -1;
}

constexpr std::size_t kPieces = 8; // places at which a file that was not synced is cut

} // namespace

FileSystemInMemory::FileSystemInMemory(const Tree& tree)
    : root(newNode(/*isFolder=*/true, 0755))
{
    for (const auto& [path, bytes] : tree) {
        for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
            makeFolderAt(AT_FDCWD, path.substr(0, slash), 0755);
        if (path.back() == '/')
            continue;
        const NodePointer file = newNode(/*isFolder=*/false, 0600);
        file->bytes = file->syncedBytes = bytes;
        const Place where = place(AT_FDCWD, path);
        change(where.folder, { { where.name, file } });
    }
    std::function<void(const NodePointer&)> syncAll = [&](const NodePointer& folder) {
        folder->syncedNames = folder->names;
        folder->unsynced.clear();
        for (const auto& [name, node] : folder->names)
            syncAll(node);
    };
    syncAll(root);
}

FileSystemInMemory::Tree FileSystemInMemory::tree() const
{
    Tree result;
    collect(root, "", result);
    return result;
}

void FileSystemInMemory::collect(const NodePointer& folder, const std::string& path, Tree& tree)
{
    for (const auto& [name, node] : folder->names) {
        tree[path + "/" + name + (node->isFolder ? "/" : "")] = node->bytes;
        if (node->isFolder)
            collect(node, path + "/" + name, tree);
    }
}

FileSystemInMemory::Tree FileSystemInMemory::afterPowerCut(const std::function<std::size_t(std::size_t)>& choose) const
{
    Tree result;
    collectAfterCut(root, "", result, choose);
    return result;
}

void FileSystemInMemory::collectAfterCut(const NodePointer& folder, const std::string& path, Tree& tree,
    const std::function<std::size_t(std::size_t)>& choose)
{
    Names names = folder->syncedNames;
    for (const Names& change : folder->unsynced) {
        if (choose(2) == 0)
            apply(names, change);
    }
    for (const auto& [name, node] : names) {
        tree[path + "/" + name + (node->isFolder ? "/" : "")] = node->isFolder ? "" : bytesAfterCut(*node, choose);
        if (node->isFolder)
            collectAfterCut(node, path + "/" + name, tree, choose);
    }
}

std::string FileSystemInMemory::bytesAfterCut(const Node& file, const std::function<std::size_t(std::size_t)>& choose)
{
    if (file.bytes == file.syncedBytes)
        return file.bytes;
    const std::size_t way = choose(2 + 2 * kPieces);
    if (way < 2)
        return way == 0 ? file.bytes : file.syncedBytes;
    std::string part = file.bytes.substr(0, file.bytes.size() * ((way - 2) / 2) / kPieces);
    if (way % 2 == 1)
        part.resize(file.bytes.size()); // the length was there before the bytes
    return part;
}

FileSystemInMemory::NodePointer FileSystemInMemory::newNode(bool isFolder, mode_t mode)
{
    auto node = std::make_shared<Node>();
    node->isFolder = isFolder;
    node->mode = mode;
    node->number = nextNumber++;
    node->changed = now++;
    return node;
}

FileSystemInMemory::NodePointer FileSystemInMemory::nodeOf(int descriptor) const
{
    if (descriptor == AT_FDCWD)
        return root;
    const auto found = open.find(descriptor);
    return found != open.end() ? found->second.node : nullptr;
}

FileSystemInMemory::Place FileSystemInMemory::place(int folder, const std::string& path) const
{
    Place result { nullptr, "", nodeOf(folder) };
    for (std::size_t begin = path[0] == '/' ? 1 : 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        if (!result.node || !result.node->isFolder)
            return {};
        result.folder = result.node;
        result.name = path.substr(begin, end - begin);
        const auto found = result.folder->names.find(result.name);
        result.node = found != result.folder->names.end() ? found->second : nullptr;
        begin = end + 1;
    }
    return result;
}

void FileSystemInMemory::apply(Names& names, const Names& change)
{
    for (const auto& [name, node] : change) {
        if (node)
            names[name] = node;
        else
            names.erase(name);
    }
}

void FileSystemInMemory::change(const NodePointer& folder, const Names& change)
{
    ++changeCount;
    apply(folder->names, change);
    folder->unsynced.push_back(change);
}

int FileSystemInMemory::openAt(int folder, const std::string& name, int flags, mode_t mode)
{
    Place where = place(folder, name);
    if (!where.folder)
        return failWith(ENOENT);
    const bool makes = (flags & O_CREAT) != 0;
    if (where.node && makes && (flags & O_EXCL) != 0)
        return failWith(EEXIST);
    if (!where.node && !makes)
        return failWith(ENOENT);
    if (!where.node) {
        where.node = newNode(/*isFolder=*/false, mode);
        change(where.folder, { { where.name, where.node } });
    }
    if ((flags & O_DIRECTORY) != 0 && !where.node->isFolder)
        return failWith(ENOTDIR);
    if ((flags & O_ACCMODE) != O_RDONLY && where.node->isFolder)
        return failWith(EISDIR);
    open[nextDescriptor] = { where.node };
    return nextDescriptor++;
}

int FileSystemInMemory::close(int descriptor)
{
    return open.erase(descriptor) > 0 ? 0 : failWith(EBADF);
}

ssize_t FileSystemInMemory::read(int descriptor, void* bytes, std::size_t count)
{
    Opened& file = open.at(descriptor);
    const std::size_t got = file.node->bytes.copy(static_cast<char*>(bytes), count, file.position);
    file.position += got;
    return static_cast<ssize_t>(got);
}

ssize_t FileSystemInMemory::write(int descriptor, const void* bytes, std::size_t count)
{
    ++changeCount;
    Opened& file = open.at(descriptor);
    file.node->bytes.resize(std::max(file.node->bytes.size(), file.position + count));
    std::memcpy(file.node->bytes.data() + file.position, bytes, count);
    file.position += count;
    file.node->changed = now++;
    return static_cast<ssize_t>(count);
}

int FileSystemInMemory::sync(int descriptor)
{
    ++changeCount;
    Node& node = *open.at(descriptor).node;
    if (node.isFolder && syncsFolders) {
        node.syncedNames = node.names;
        node.unsynced.clear();
    } else if (!node.isFolder && syncsFiles)
        node.syncedBytes = node.bytes;
    return 0;
}

int FileSystemInMemory::fill(const NodePointer& node, struct stat& status)
{
    if (!node)
        return failWith(ENOENT);
    status = {};
    status.st_dev = 7;
    status.st_ino = node->number;
    status.st_mode = node->mode | (node->isFolder ? S_IFDIR : S_IFREG);
    status.st_uid = ::geteuid();
    status.st_gid = ::getegid();
    status.st_size = static_cast<off_t>(node->bytes.size());
    status.st_mtim.tv_sec = node->changed;
    return 0;
}

int FileSystemInMemory::statAt(int folder, const std::string& name, struct stat& status, int)
{
    return fill(place(folder, name).node, status);
}

int FileSystemInMemory::statOf(int descriptor, struct stat& status)
{
    return fill(nodeOf(descriptor), status);
}

int FileSystemInMemory::renameAt(int folder, const std::string& from, const std::string& to)
{
    const Place source = place(folder, from);
    const Place target = place(folder, to);
    if (!source.node || target.folder != source.folder)
        return failWith(ENOENT);
    if (target.node && target.node->isFolder && !target.node->names.empty())
        return failWith(ENOTEMPTY);
    change(source.folder, { { source.name, nullptr }, { target.name, source.node } });
    return 0;
}

int FileSystemInMemory::unlinkAt(int folder, const std::string& name)
{
    const Place where = place(folder, name);
    if (!where.node || where.node->isFolder)
        return failWith(where.node ? EISDIR : ENOENT);
    change(where.folder, { { where.name, nullptr } });
    return 0;
}

int FileSystemInMemory::changeMode(int descriptor, mode_t mode)
{
    open.at(descriptor).node->mode = mode;
    return 0;
}

int FileSystemInMemory::changeOwner(int, uid_t, gid_t)
{
    return 0;
}

ssize_t FileSystemInMemory::readLinkAt(int folder, const std::string& name, char*, std::size_t)
{
    return failWith(place(folder, name).node ? EINVAL : ENOENT);
}

ssize_t FileSystemInMemory::listAttributes(int descriptor, char* names, std::size_t size)
{
    std::string all;
    for (const auto& [name, value] : open.at(descriptor).node->attributes)
        all.append(name).push_back('\0');
    if (size > 0)
        all.copy(names, size);
    return static_cast<ssize_t>(all.size());
}

ssize_t FileSystemInMemory::giveAttribute(const NodePointer& node, const char* name, void* value, std::size_t size)
{
    if (!node || node->attributes.count(name) == 0)
        return failWith(node ? ENODATA : ENOENT);
    const std::string& bytes = node->attributes[name];
    if (size > 0)
        bytes.copy(static_cast<char*>(value), size);
    return static_cast<ssize_t>(bytes.size());
}

ssize_t FileSystemInMemory::getAttribute(int descriptor, const char* name, void* value, std::size_t size)
{
    return giveAttribute(nodeOf(descriptor), name, value, size);
}

int FileSystemInMemory::setAttribute(int descriptor, const char* name, const void* value, std::size_t size)
{
    open.at(descriptor).node->attributes[name].assign(static_cast<const char*>(value), size);
    return 0;
}

int FileSystemInMemory::removeAttribute(int descriptor, const char* name)
{
    return open.at(descriptor).node->attributes.erase(name) > 0 ? 0 : failWith(ENODATA);
}

ssize_t FileSystemInMemory::getPathAttribute(const std::string& path, const char* name, void* value, std::size_t size)
{
    return giveAttribute(place(AT_FDCWD, path).node, name, value, size);
}

int FileSystemInMemory::setPathAttribute(const std::string& path, const char* name, const void* value, std::size_t size)
{
    const NodePointer node = place(AT_FDCWD, path).node;
    if (!node)
        return failWith(ENOENT);
    node->attributes[name].assign(static_cast<const char*>(value), size);
    return 0;
}

int FileSystemInMemory::makeFolderAt(int folder, const std::string& name, mode_t mode)
{
    const Place where = place(folder, name);
    if (!where.folder || where.node)
        return failWith(where.node ? EEXIST : ENOENT);
    change(where.folder, { { where.name, newNode(/*isFolder=*/true, mode) } });
    return 0;
}

int FileSystemInMemory::removeFolderAt(int folder, const std::string& name)
{
    const Place where = place(folder, name);
    if (!where.node || !where.node->isFolder)
        return failWith(where.node ? ENOTDIR : ENOENT);
    if (!where.node->names.empty())
        return failWith(ENOTEMPTY);
    change(where.folder, { { where.name, nullptr } });
    return 0;
}

int FileSystemInMemory::namesIn(int folder, std::vector<std::string>& names)
{
    for (const auto& [name, node] : nodeOf(folder)->names)
        names.push_back(name);
    return 0;
}

int FileSystemInMemory::markInUse(int descriptor)
{
    Opened& wanted = open.at(descriptor);
    for (const auto& [other, opened] : open) {
        if (other != descriptor && opened.node == wanted.node && opened.hasMark)
            return failWith(EWOULDBLOCK);
    }
    wanted.hasMark = true;
    return 0;
}

int FileSystemInMemory::clone(int, int)
{
    return failWith(EOPNOTSUPP);
}

int FileSystemInMemory::setTimes(int descriptor, const struct timespec&, const struct timespec& modified)
{
    open.at(descriptor).node->changed = modified.tv_sec;
    return 0;
}

int FileSystemInMemory::renameToFreeNameAt(int folder, const std::string& from, const std::string& to)
{
    if (!knowsRenamingToFreeNames)
        return failWith(EINVAL);
    return place(folder, to).node ? failWith(EEXIST) : renameAt(folder, from, to);
}

int FileSystemInMemory::linkAt(int folder, const std::string& from, const std::string& to)
{
    const Place source = place(folder, from);
    const Place target = place(folder, to);
    if (!knowsLinks)
        return failWith(EPERM);
    if (!source.node || !target.folder || target.node)
        return failWith(target.node ? EEXIST : ENOENT);
    change(target.folder, { { target.name, source.node } });
    return 0;
}

int FileSystemInMemory::exchangeAt(int folder, const std::string& one, const std::string& other)
{
    const Place first = place(folder, one);
    const Place second = place(folder, other);
    if (!knowsExchange)
        return failWith(EINVAL);
    if (!first.node || !second.node || first.folder != second.folder)
        return failWith(ENOENT);
    change(first.folder, { { first.name, second.node }, { second.name, first.node } });
    return 0;
}

int FileSystemInMemory::accessAt(int folder, const std::string& name, int)
{
    return place(folder, name).node ? 0 : failWith(ENOENT);
}
