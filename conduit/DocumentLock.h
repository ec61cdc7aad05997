#pragma once

#include "NSDistributedLock.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Write locks on documents, as lock objects beside them: any program that agrees on the name sees them.
///
/// One object holds any number of locks, remembers which files it could not lock, and which locks it was told to
/// override. Its end gives back what it holds. All operations take the document's path; an absent path is legal
/// everywhere. Where the system's locks are not in use, every grab succeeds and nothing stands on disk.
class DocumentLock {
public:
    using Path = std::optional<std::string>;

    struct Entry {
        std::string path; // of the lock
        std::unique_ptr<NSDistributedLock> lock;
    };

    /// `system` must outlive the object.
    explicit DocumentLock(LockSystem& system);
    ~DocumentLock();
    DocumentLock(const DocumentLock&) = delete;
    DocumentLock& operator=(const DocumentLock&) = delete;

    /// Where a document's lock stands: in the same folder, with a dot in front of the name.
    static Path lockPath(const Path& path);

    /// The entry of a lock that this object holds, or null.
    const Entry* findWriteLockForDocument(const Path& path) const;

    /// True means that the caller may write the file. A remembered failure sticks for this object's life; an
    /// overridden file counts as locked.
    [[nodiscard]] bool grabWriteLockForFile(const Path& path);
    [[nodiscard]] bool grabWriteLockForFile(const Path& path, bool rememberIfFailed);

    /// Gives back the document's lock if this object holds it; another program's stays.
    void unlockWriteLockForDocument(const Path& path);

    /// Breaks the document's lock whoever holds it. From then on the file has none, and grabs of it succeed here.
    void overrideWriteLockForDocument(const Path& path);

    /// Gives back every lock that this object holds; what it remembers stays.
    void unlockAllWriteLocks();

    static constexpr uint32_t kFirstSystemWithoutLocks = 0x100700;

private:
    LockSystem& system_;
    std::vector<Entry> fileWriteLocks_; // held
    std::vector<std::string> failedWriteLocks_; // lock paths that failed with remembering asked for
    std::vector<std::string> overriddenWriteLocks_; // lock paths that this object broke
};
