#include "ScratchFolder.h"

#include <fstream>
#include <iterator>
#include <set>

#include <stdlib.h>
#include <sys/stat.h>

mode_t modeOf(const std::string& path)
{
    struct stat status { };
    ::stat(path.c_str(), &status);
    return status.st_mode & 07777;
}

ScratchFolder::ScratchFolder(const std::filesystem::path& parent)
{
    std::string pattern = (parent / "vellorin-test.XXXXXX").string();
    folder_ = ::mkdtemp(pattern.data());
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string ScratchFolder::write(const std::string& name, const std::string& content) const
{
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
}

std::string ScratchFolder::read(const std::string& name) const
{
    std::ifstream file(path(name), std::ios::binary);
    return { std::istreambuf_iterator<char>(file), {} };
}

std::string ScratchFolder::listing() const
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_))
        names.insert(entry.path().filename().string());
    std::string joined;
    for (const std::string& name : names)
        joined += (joined.empty() ? "" : " ") + name;
    return joined;
}

std::filesystem::path folderInMemory()
{
    const std::filesystem::path shared = "/dev/shm";
    return std::filesystem::is_directory(shared) ? shared : std::filesystem::temp_directory_path();
}
