#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// A lock object on the file system, which any program sees that knows its path.
///
/// It survives its holder: there is no expiry and no test of ownership. Making it is atomic between processes and, on a
/// shared volume, between machines.
class NSDistributedLock {
public:
    virtual ~NSDistributedLock() = default;

    /// Makes the lock if it isn't there; false at once if it is, whoever made it, or if it can't be made.
    [[nodiscard]] virtual bool tryLock() = 0;

    /// Removes the lock that this object made; nothing happens if it is gone, or somebody else's by now.
    virtual void unlock() = 0;

    /// Removes the lock whoever made it.
    virtual void breakLock() = 0;
};

/// Makes lock objects, and knows whether they are in use on this system.
class LockSystem {
public:
    virtual ~LockSystem() = default;

    /// Binds a lock object to a path; takes nothing yet.
    virtual std::unique_ptr<NSDistributedLock> lockWithPath(const std::string& path) = 0;

    /// Three pairs of packed decimal digits. Locks are in use below 0x100700.
    virtual uint32_t systemVersion() const = 0;
};

/// Locks as folders, which mkdir makes atomically everywhere. In the folder stands, for people who find it, a file
/// `holder` with host, process, start time and program; a lock of another program without it is as good as any other.
/// Here the lock is held only by whoever has made that file, so that nobody takes a folder for the one that it has made
/// and that was broken and made again by another at that very moment. Taking a lock removes what killed programs have
/// left of it while they gave it back (Leftovers.h).
class LinuxLockSystem final : public LockSystem {
public:
    /// Asks the system when this process started, which a process that has been restricted to some folders can't.
    LinuxLockSystem();

    std::unique_ptr<NSDistributedLock> lockWithPath(const std::string& path) override;
    uint32_t systemVersion() const override { return 0x100608; }
};
