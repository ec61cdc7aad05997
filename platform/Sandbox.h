#pragma once

#include <string>
#include <vector>

/// What a process may still do with files, given up for the rest of its life.
namespace Sandbox {

/// From here on this thread, and what it starts, opens, makes, renames and removes files in these folders and below
/// them alone, whatever its user may do; there it also starts none. Looking at a file's status, its links and its
/// attributes, connections to sockets, and files that are open already are not restricted. A folder that isn't there
/// gives nothing.
///
/// False where the kernel has no such thing or refuses: then nothing is restricted. Can't be undone; a second call
/// restricts further. Call it before there is a second thread.
bool restrictToFolders(const std::vector<std::string>& folders);

/// The folders in which a program works that is given this path: the one that the path names, in which locks and
/// backups stand, and the one in which the file lies that it leads to by links.
std::vector<std::string> foldersOfFile(const std::string& path);

/// restrictToFolders for those of all these files, relative paths too, and for further ones.
bool restrictToFoldersOfFiles(const std::vector<std::string>& files, std::vector<std::string> further = {});

} // namespace Sandbox
