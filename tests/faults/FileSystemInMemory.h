#pragma once

#include "FileSystemCalls.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

/// A file system of one process that knows what of it would be there after a power cut. Paths are absolute and without
/// links; there is one user, and no permission is ever lacking.
///
/// A file's bytes last once it was synced, a folder's names once the folder was. Of what was not, a power cut leaves
/// anything: each change of a folder's names or none of it, in any order; of a file's bytes those synced before, all, a
/// part, or zeros. A renaming is one change: no cut leaves a half of it.
class FileSystemInMemory final : public FileSystemCalls {
public:
    /// The files by path, and the folders with a slash behind theirs.
    using Tree = std::map<std::string, std::string>;

    /// Everything in `tree` is synced. Folders of files are made.
    explicit FileSystemInMemory(const Tree& tree);

    Tree tree() const;
    std::size_t openDescriptors() const { return open.size(); }

    /// A number that differs whenever what a power cut may leave may have changed.
    std::size_t changes() const { return changeCount; }

    /// What a power cut leaves. `choose` is asked for a number below its argument at each place where there is a
    /// choice.
    Tree afterPowerCut(const std::function<std::size_t(std::size_t)>& choose) const;

    // What a careless program would do without; for tests of the tests
    bool syncsFiles = true;
    bool syncsFolders = true;

    // What not every file system has
    bool knowsExchange = true;
    bool knowsLinks = true;
    bool knowsRenamingToFreeNames = true; // without it a copy gets its name as a second one

    int openAt(int folder, const std::string& name, int flags, mode_t mode) override;
    int close(int descriptor) override;
    ssize_t read(int descriptor, void* bytes, std::size_t count) override;
    ssize_t write(int descriptor, const void* bytes, std::size_t count) override;
    int sync(int descriptor) override;
    void beginSync(int, off_t, std::size_t) override { }
    int statAt(int folder, const std::string& name, struct stat& status, int flags) override;
    int statOf(int descriptor, struct stat& status) override;
    int renameAt(int folder, const std::string& from, const std::string& to) override;
    int unlinkAt(int folder, const std::string& name) override;
    int changeMode(int descriptor, mode_t mode) override;
    int changeOwner(int descriptor, uid_t owner, gid_t group) override;
    ssize_t readLinkAt(int folder, const std::string& name, char* target, std::size_t size) override;
    ssize_t listAttributes(int descriptor, char* names, std::size_t size) override;
    ssize_t getAttribute(int descriptor, const char* name, void* value, std::size_t size) override;
    int setAttribute(int descriptor, const char* name, const void* value, std::size_t size) override;
    int removeAttribute(int descriptor, const char* name) override;
    ssize_t getPathAttribute(const std::string& path, const char* name, void* value, std::size_t size) override;
    int setPathAttribute(const std::string& path, const char* name, const void* value, std::size_t size) override;
    int makeFolderAt(int folder, const std::string& name, mode_t mode) override;
    int removeFolderAt(int folder, const std::string& name) override;
    int namesIn(int folder, std::vector<std::string>& names) override;
    int markInUse(int descriptor) override;
    int clone(int from, int to) override; // not known
    int setTimes(int descriptor, const struct timespec& accessed, const struct timespec& modified) override;
    int renameToFreeNameAt(int folder, const std::string& from, const std::string& to) override;
    int linkAt(int folder, const std::string& from, const std::string& to) override;
    int exchangeAt(int folder, const std::string& one, const std::string& other) override;
    int accessAt(int folder, const std::string& name, int mode) override;

private:
    struct Node;
    using NodePointer = std::shared_ptr<Node>;
    using Names = std::map<std::string, NodePointer>; // a null one takes the name away

    struct Node {
        bool isFolder = false;
        ino_t number = 0;
        mode_t mode = 0;
        time_t changed = 0;
        std::string bytes;
        std::string syncedBytes;
        std::map<std::string, std::string> attributes;
        Names names;
        Names syncedNames;
        std::vector<Names> unsynced; // in their order, each at one stroke
    };

    struct Opened {
        NodePointer node;
        std::size_t position = 0;
        bool hasMark = false;
    };

    /// Where a path leads: its folder, its last name, and what is there, if anything.
    struct Place {
        NodePointer folder;
        std::string name;
        NodePointer node;
    };

    NodePointer newNode(bool isFolder, mode_t mode);
    NodePointer nodeOf(int descriptor) const;
    Place place(int folder, const std::string& path) const;
    void change(const NodePointer& folder, const Names& change);
    static void apply(Names& names, const Names& change);
    static int fill(const NodePointer& node, struct stat& status);
    static ssize_t giveAttribute(const NodePointer& node, const char* name, void* value, std::size_t size);
    static void collect(const NodePointer& folder, const std::string& path, Tree& tree);
    static std::string bytesAfterCut(const Node& file, const std::function<std::size_t(std::size_t)>& choose);
    static void collectAfterCut(const NodePointer& folder, const std::string& path, Tree& tree,
        const std::function<std::size_t(std::size_t)>& choose);

    NodePointer root;
    std::map<int, Opened> open;
    int nextDescriptor = 1000;
    ino_t nextNumber = 2;
    time_t now = 1;
    std::size_t changeCount = 0;
};
