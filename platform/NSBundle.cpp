#include "NSBundle.h"

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

const NSBundle& NSBundle::mainBundle()
{
    static const NSBundle bundle;
    return bundle;
}

NSBundle::NSBundle()
{
    std::error_code error;
    programFolder_ = fs::read_symlink("/proc/self/exe", error).parent_path().string();
}

std::string NSBundle::pathForResource(const std::string& name, const std::string& type) const
{
    const fs::path program(programFolder_);
    const std::string file = name + "." + type;
    const fs::path beside = program / "resources" / file;
    const fs::path installed = program.parent_path() / "share" / "vellorin" / file;
    std::error_code error;
    return !fs::exists(beside, error) && fs::exists(installed, error) ? installed.string() : beside.string();
}
