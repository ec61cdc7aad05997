#include "NSPathUtilities.h"

#include <algorithm>

namespace {

std::string withoutSlashesAtEnd(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

/// Where the name begins; the path has no slash at its end, unless it is the root.
std::size_t nameStart(const std::string& path)
{
    return path == "/" ? 0 : path.rfind('/') + 1;
}

/// The position of the dot before the extension; the path's size without one.
std::size_t extensionStart(const std::string& path)
{
    const std::size_t dot = path.rfind('.');
    const bool isInsideName = dot != std::string::npos && dot > nameStart(path) && dot + 1 < path.size();
    return isInsideName ? dot : path.size();
}

} // namespace

std::vector<std::string> pathComponents(const std::string& path)
{
    std::vector<std::string> components;
    if (path.rfind('/', 0) == 0)
        components.emplace_back("/");
    for (std::size_t start = 0; start < path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (end > start)
            components.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return components;
}

std::string lastPathComponent(const std::string& path)
{
    const std::string whole = withoutSlashesAtEnd(path);
    return whole.substr(nameStart(whole));
}

std::string stringByDeletingLastPathComponent(const std::string& path)
{
    const std::string whole = withoutSlashesAtEnd(path);
    const std::string folder = whole.substr(0, nameStart(whole));
    return whole == "/" ? whole : withoutSlashesAtEnd(folder);
}

std::string stringByAppendingPathComponent(const std::string& path, const std::string& component)
{
    if (component == "/" && path.ends_with('/'))
        return path;
    const bool needsSlash = !path.empty() && path.back() != '/';
    return path + (needsSlash ? "/" : "") + component;
}

std::string pathExtension(const std::string& path)
{
    const std::string whole = withoutSlashesAtEnd(path);
    const std::size_t dot = extensionStart(whole);
    return dot < whole.size() ? whole.substr(dot + 1) : "";
}

std::string stringByDeletingPathExtension(const std::string& path)
{
    const std::string whole = withoutSlashesAtEnd(path);
    return whole.substr(0, extensionStart(whole));
}
