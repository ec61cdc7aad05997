#include "Confinement.h"

#include "ActionRun.h"
#include "Journal.h"
#include "NSURL.h"
#include "Sandbox.h"
#include "VLR_System.h"

#include <ctime>

namespace {

ActionPartners& askTheSystem()
{
    ActionPartners& partners = linuxPartners(); // they ask when this process started
    static_cast<void>(VLR_System::GetPreference(VLRPref_DocumentFlagOverride, 0)); // reads the settings
    ::tzset();
    return partners;
}

} // namespace

ActionPartners& confineTo(
    [[maybe_unused]] const std::vector<std::string>& paths, [[maybe_unused]] const Journal& journal)
{
    ActionPartners& partners = askTheSystem();
#ifdef VELLORIN_CONFINED
    std::vector<std::string> folders { journal.folder() };
    for (const std::string& path : paths) {
        const std::vector<std::string> ofFile = Sandbox::foldersOfFile(NSURL::fileURLWithPath(path).path());
        folders.insert(folders.end(), ofFile.begin(), ofFile.end());
    }
    static_cast<void>(Sandbox::restrictToFolders(folders));
#endif
    return partners;
}
