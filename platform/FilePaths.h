#pragma once

#include <string>

/// From the root, as a file URL would have it: relative to the present folder, and without a look at what is there.
std::string absolutePath(const std::string& path);

/// The one path by which a file is known: absolute, and without links as far as there is something.
std::string canonicalPath(const std::string& path);
