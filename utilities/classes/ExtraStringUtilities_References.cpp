#include "ExtraStringUtilities.h"

#include "UtilityExceptions.h"

namespace {

constexpr char kFSRefWithPath[] = "FSRefWithPath";
constexpr char kCantFindFile[] = "Can't find file.";
constexpr int kCantFindFileLine = 1202;
constexpr char kNoRef[] = "ExtraContainerUtilities FSRefWithPath";
constexpr int kNoRefLine = 1203;

constexpr char kPathWithFSRef[] = "pathWithFSRef:";
constexpr char kNoURL[] = "pathWithFSRef CFURLCreateFromFSRef Error";
constexpr int kNoURLLine = 1211;
constexpr char kNoURLText[] = "pathWithFSRef CFURLGetString Error";
constexpr int kNoURLTextLine = 1215;

constexpr int16_t kFileNotFound = -43;

} // namespace

FSRef ExtraStringUtilities::FSRefWithPath(const std::string& path)
{
    FSRef ref;
    const int16_t error = FSPathMakeRef(stringByExpandingTildeInPath(path), ref);
    if (error == kFileNotFound)
        raiseInconsistency(kCantFindFile, kFSRefWithPath, kCantFindFileLine);
    if (error != 0)
        raiseInconsistency(kNoRef, kFSRefWithPath, kNoRefLine);
    return ref;
}

std::string ExtraStringUtilities::pathWithFSRef(const FSRef& ref)
{
    const std::optional<NSURL> url = CFURLCreateFromFSRef(ref);
    if (!url)
        raiseInconsistency(kNoURL, kPathWithFSRef, kNoURLLine);
    std::string text = url->urlString();
    if (text.empty())
        raiseInconsistency(kNoURLText, kPathWithFSRef, kNoURLTextLine);
    return text;
}
