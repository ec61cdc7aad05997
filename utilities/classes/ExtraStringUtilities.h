#pragma once

#include "AppleEventSystem.h"
#include "FSRef.h"
#include "FinderInfo.h"
#include "FinderServices.h"
#include "NSData.h"
#include "NSFileItems.h"
#include "NSWorkspace.h"
#include "VLR_String.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>

/// Operations on a text, the first argument, unless they are class operations. Paths and bundle identifiers are plain
/// strings; texts that may be secret are the core's, which wipe themselves.
///
/// A leading tilde is expanded by the operations that make a reference, use Finder information or resolve aliases, and
/// by no other. Those on paths raise an NSException of the name "NSInternalInconsistencyException".
namespace ExtraStringUtilities {

/// Seeks a running process other than this one whose bundle identifier equals the receiver without regard to case. A
/// reference receives its serial number; it may be null.
bool findProcess(const std::string& bundleIdentifier, ProcessSerialNumber* serialNumber, AppleEventSystem& eventSystem);

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
/// ever replaced, and none is left half made (a program killed in the middle leaves a hidden file). Of a link, what it
/// leads to is copied, since a second link would be no backup, but under the link's name and beside it, where its user
/// looks for it. Only regular files are backed up.
///
/// Never raises: every failure is a report. Throws Interrupted when a signal comes, with nothing left over.
BackupReport makeBackupCopy(const std::string& path, NSFileItems& files);

/// True if the report says that the copy is there.
bool isBackupMade(const BackupReport& report);

// The desktop

/// Moves a file or folder to the trash; of a link, the link. True also where nothing is to be seen: a link that leads
/// nowhere, a path with a tilde, and what stands in a folder that may not be searched, are nothing. Never raises: every
/// failure is false, and leaves the file where it is.
bool movePathToTrash(const std::string& path, FinderServices& finder);

/// Shows a file (of a link, the link) in its folder's window, and brings that to the front. Throws Interrupted, as the
/// services do.
/// Raises: "Can't find Finder process."; as FSRefWithPath; "Could not send AppleEvent to reveal item in finder (%ld)"
/// with the error number.
void revealInFinder(const std::string& path, FinderServices& finder);

// Clipboard

/// The text on the general pasteboard; empty when there is none.
VLR_String stringWithClipboard();

/// Puts the text on the general pasteboard under three types: as a string, under this process's tag, and under
/// "PasswordPboardType". A reader can see that it is a password, and from which process it came.
void copyToClipboard(const VLR_String& text);

/// The type that marks what this process has copied.
std::string clipboardTag();

// The process in front; empty texts where there is none, or the desktop doesn't tell

std::string stringWithFrontProcessName(const NSWorkspace& workspace);

/// That of the process which was in front at the first call of all, whichever is by now, and whichever workspace is
/// asked: callers rely on the one answer.
std::string stringWithFrontProcessBundleID(const NSWorkspace& workspace);

/// Asks anew at each call.
std::string stringWithFrontProcessCreator(const NSWorkspace& workspace);

// Hexadecimal

/// Pairs of digits as bytes. Of each UTF-16 code unit only the low 8 bits count, what is no digit counts 0 with no
/// complaint, and a last digit without a partner is dropped. A text ends where it is no valid UTF-8.
NSData dataFromHexadecimalString(const VLR_String& text);

// Pascal strings: a length byte, then that many bytes of text

/// Numbers of text encodings, as the platform counts them. Others can't be had.
enum TextEncoding : uint32_t {
    kTextEncodingMacRoman = 0,
    kTextEncodingASCII = 0x0600,
    kTextEncodingUTF8 = 0x08000100
};

/// The text in a buffer of 256 bytes, which the innermost autorelease scope keeps and wipes. A text of 128 UTF-16 code
/// units or more is cut to its first 127, or 126 where the cut would part a surrogate pair.
/// Raises: NSException "Unable to CFStringGetPascalString." if the encoding can't express the text, or in more than 255
/// bytes; std::logic_error without a scope.
const unsigned char* pascalStringWithEncoding(const VLR_String& text, uint32_t encoding);

/// In Mac Roman.
const unsigned char* pascalString(const VLR_String& text);

/// Copies length byte and text, cut to `buffSize` bytes in all; leaves the rest of the buffer. Needs no scope.
/// Raises: as pascalString; NSException "NSRangeException", with the buffer as it was, for what `buffer` has no room
/// for, and for a size of 0.
void pascalStringInto(const VLR_String& text, std::span<unsigned char> buffer, uint8_t buffSize);

/// A text from Mac Roman; null gives no text.
std::optional<VLR_String> stringWithPascalString(const unsigned char* pascalString);

} // namespace ExtraStringUtilities
