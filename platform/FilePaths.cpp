#include "FilePaths.h"

#include "NSURL.h"

#include <cstdlib>
#include <memory>

std::string absolutePath(const std::string& path)
{
    return NSURL::fileURLWithPath(path).path();
}

std::string canonicalPath(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
    return real ? real.get() : absolutePath(path);
}
