#include "Confinement.h"

#include "ActionRun.h"
#include "Journal.h"
#include "Sandbox.h"
#include "VLR_System.h"

#include <ctime>

namespace {

ActionPartners& askTheSystem()
{
    ActionPartners& partners = linuxPartners(); // they ask when this process started
    static_cast<void>(VLR_System::GetPreference(VLRPref_DocumentFlagOverride, 0)); // reads the settings
    static_cast<void>(hashOf(NSData())); // its library looks at the kernel's settings, and ends the program if it can't
    ::tzset();
    return partners;
}

} // namespace

ActionPartners& confineTo(
    [[maybe_unused]] const std::vector<std::string>& paths, [[maybe_unused]] const Journal& journal)
{
    ActionPartners& partners = askTheSystem();
#ifdef VELLORIN_CONFINED
    static_cast<void>(Sandbox::restrictToFoldersOfFiles(paths, { journal.folder() }));
#endif
    return partners;
}
