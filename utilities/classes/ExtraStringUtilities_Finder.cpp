#include "ExtraStringUtilities.h"

#include "AppleEvent.h"
#include "UtilityExceptions.h"

#include <filesystem>
#include <system_error>

namespace {

constexpr char kMovePathToTrash[] = "movePathToTrash";
constexpr char kNobodyTrashes[] = "Can't find find process."; // the two words are in the text that callers know
constexpr int kNobodyTrashesLine = 1446;

constexpr char kRevealInFinder[] = "revealInFinder";
constexpr char kNobodyReveals[] = "Can't find Finder process.";
constexpr int kNobodyRevealsLine = 1310;
constexpr char kNotRevealed[] = "Could not send AppleEvent to reveal item in finder (";
constexpr int kNotRevealedLine = 1337;

bool isThere(const std::string& path)
{
    std::error_code none;
    return std::filesystem::exists(path, none);
}

} // namespace

bool ExtraStringUtilities::movePathToTrash(const std::string& path, FinderServices& finder)
{
    try {
        if (!isThere(path))
            return true;
        if (!finder.hasTrash())
            raiseInconsistency(kNobodyTrashes, kMovePathToTrash, kNobodyTrashesLine);
        return finder.moveToTrash(path) == noErr;
    } catch (...) { // whatever it is: callers rely on an answer
        return false;
    }
}

void ExtraStringUtilities::revealInFinder(const std::string& path, FinderServices& finder)
{
    if (!finder.isRunning())
        raiseInconsistency(kNobodyReveals, kRevealInFinder, kNobodyRevealsLine);
    FSRefWithPath(path); // raises if there is no such file
    const int16_t error = finder.reveal(stringByExpandingTildeInPath(path));
    if (error != noErr)
        raiseInconsistency(kNotRevealed + std::to_string(error) + ")", kRevealInFinder, kNotRevealedLine);
}
