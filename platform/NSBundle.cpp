#include "NSBundle.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace {

std::string FolderOfProgram()
{
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path().string();
}

} // namespace

const NSBundle& NSBundle::mainBundle()
{
    return current();
}

NSBundle NSBundle::setMainBundle(NSBundle bundle)
{
    return std::exchange(current(), std::move(bundle));
}

NSBundle& NSBundle::current()
{
    static NSBundle bundle(FolderOfProgram());
    return bundle;
}

NSBundle::NSBundle(std::string programFolder)
    : programFolder_(std::move(programFolder))
{
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
