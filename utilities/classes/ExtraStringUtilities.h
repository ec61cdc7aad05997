#pragma once

#include "AppleEventSystem.h"
#include "FSRef.h"
#include "FinderInfo.h"
#include "FinderServices.h"
#include "NSFileItems.h"

#include <cstdint>
#include <map>
#include <string>

/// Operations on a text, which is a path or a bundle identifier: the first argument is the receiver.
///
/// A leading tilde is expanded by the operations that make a reference, use Finder information or resolve aliases, and
/// by no other. What is raised is an NSException of the name "NSInternalInconsistencyException".
namespace ExtraStringUtilities {

/// Seeks a running process other than this one whose bundle identifier equals the receiver without regard to case. A
/// reference receives its serial number; it may be null.
bool findProcess(
    const std::string& bundleIdentifier, ProcessSerialNumber* serialNumber, AppleEventSystem& eventSystem);

// Paths

/// The path with a leading "~" or "~user" replaced by the home folder; as it is where there is none.
std::string stringByExpandingTildeInPath(const std::string& path);

/// Makes the folder at this path with all its missing parents. True if it is there then, also if it was there before.
bool burrowToPath(const std::string& path);

/// The path with every link in it resolved, up to and with the last component that is there; what follows stays as it
/// is. Never fails: where a component can't be referred to, that is logged, and it and all behind it stay as they are.
std::string folderPathWithAliasesResolved(const std::string& path);

/// The same for all but the last component, which stays as it is: a link there is not resolved.
std::string filePathWithAliasesResolved(const std::string& path);

// File references

/// A reference to the file system object at a path, after expansion of a leading tilde.
/// Raises: "Can't find file." or "ExtraContainerUtilities FSRefWithPath".
FSRef FSRefWithPath(const std::string& path);

/// The text of the file URL, and not a path, in spite of the name: callers rely on it.
/// Raises: "pathWithFSRef CFURLCreateFromFSRef Error" if the object isn't there, or if its path isn't remembered (see
/// FSPathMakeRef); "pathWithFSRef CFURLGetString Error".
std::string pathWithFSRef(const FSRef& ref);

// Finder information

/// Stores type and creator code in the file's metadata and leaves the rest of it. False and a log line if that fails.
/// Raises: as FSRefWithPath.
bool setType(const std::string& path, uint32_t type, uint32_t creator);

/// Gives the file at another path the codes of this one. True for two folders, which have none; false for a folder and
/// a file, and if the codes can't be had or kept. Both have to be there.
/// Raises: as FSRefWithPath.
bool copyTypeCreatorToPath(const std::string& path, const std::string& toPath);

/// Reads all 16 bytes, and writes them. False and a log line if that fails.
/// Raises: as FSRefWithPath; operation and line if there is no `info`.
bool fileInfo(const std::string& path, FileInfo* info);
bool setFileInfo(const std::string& path, const FileInfo* info);

// Backups

/// What an alert is to tell of a backup, under the two keys.
using BackupReport = std::map<std::string, std::string>;
inline constexpr char kBackupHeadline[] = "alertWithMessageText";
inline constexpr char kBackupText[] = "informativeTextWithFormat"; // to be shown as it is: a "%" in it is a file name's

/// Copies a file to a free name in the path's own folder: "Vault backup 1.dat" beside "Vault.dat". A backup's backup
/// counts on from its number instead of adding another one, and behind 100 starts over from 1; no number is above 100.
///
/// The report says whether the copy is there; if so, it is complete on disk, with the source's metadata. No file is
/// ever replaced, and none is left half made. Of a link, what it leads to is copied, since a second link would be no
/// backup, but under the link's name and beside it, where its user looks for it. Only regular files are backed up.
///
/// Never raises: every failure is a report. Throws Interrupted when a signal comes, with nothing left over.
BackupReport makeBackupCopy(const std::string& path, NSFileItems& files);

// The desktop

/// Moves a file or folder to the trash; of a link, the link. True also where nothing is: a link that leads nowhere, and
/// a path with a tilde, are nothing. Never raises: every failure is false, and leaves the file where it is.
bool movePathToTrash(const std::string& path, FinderServices& finder);

/// Shows a file in its folder's window, and brings that to the front. Throws Interrupted, as the services do.
/// Raises: "Can't find Finder process."; as FSRefWithPath; "Could not send AppleEvent to reveal item in finder (%ld)"
/// with the error number.
void revealInFinder(const std::string& path, FinderServices& finder);

} // namespace ExtraStringUtilities
