#pragma once

#include <string>
#include <vector>

// The parts of a path's text, as the platform tells them. Slashes at the end don't count; nothing is looked up.

/// "/" for an absolute path, and the names. None for the empty path.
std::vector<std::string> pathComponents(const std::string& path);

/// "/" for the root, and the empty text for the empty path.
std::string lastPathComponent(const std::string& path);

/// What stands before the last component: empty for a bare name, "/" for what stands in the root and for itself.
std::string stringByDeletingLastPathComponent(const std::string& path);

/// One slash between the two, and none behind an empty path.
std::string stringByAppendingPathComponent(const std::string& path, const std::string& component);

/// What stands behind the last dot of the last component. A name that only begins or only ends with a dot has none.
std::string pathExtension(const std::string& path);

/// The path without its extension and the dot before it.
std::string stringByDeletingPathExtension(const std::string& path);
