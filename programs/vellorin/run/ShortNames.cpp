#include "Console.h"
#include "NSPathUtilities.h"
#include "SyncPlan.h"

#include <algorithm>
#include <set>

namespace {

/// The path's last parts.
std::string end(const std::string& path, std::size_t parts)
{
    const std::vector<std::string> all = pathComponents(path);
    std::string result;
    for (std::size_t i = all.size() - std::min(parts, all.size()); i < all.size(); ++i)
        result = stringByAppendingPathComponent(result, all[i]);
    return result;
}

} // namespace

std::vector<std::string> shortNames(const std::vector<std::string>& paths)
{
    std::size_t longest = 1;
    for (const std::string& path : paths)
        longest = std::max(longest, pathComponents(path).size());
    for (std::size_t parts = 1;; ++parts) {
        std::vector<std::string> names;
        names.reserve(paths.size());
        for (const std::string& path : paths)
            names.push_back(printable(end(path, parts)));
        if (parts >= longest || std::set<std::string>(names.begin(), names.end()).size() == names.size())
            return names;
    }
}
