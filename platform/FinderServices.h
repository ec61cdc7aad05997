#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// What the desktop does with files for its user: the trash, and the file manager's windows.
class FinderServices {
public:
    virtual ~FinderServices() = default;

    virtual bool hasTrash() = 0;

    /// Moves what stands at a path to the trash, from where its user can get it back; a link itself, and not what it
    /// leads to. 0 or an error; then it stands where it was.
    virtual int16_t moveToTrash(const std::string& path) = 0;

    /// True if the file manager is there, running or ready to be started.
    virtual bool isRunning() = 0;

    /// Shows what stands at a path in its folder's window, and brings the file manager to the front. 0 or an error.
    virtual int16_t reveal(const std::string& path) = 0;
};

/// The trash of the Linux desktop, and whichever file manager answers for it on the session bus. That one is started if
/// it isn't running. Needs the library vellorin_desktop.
class LinuxFinderServices final : public FinderServices {
public:
    struct TimeOuts {
        std::chrono::milliseconds bus { 5000 };
        std::chrono::milliseconds reply { 30000 }; // with the start of the file manager
    };

    LinuxFinderServices();
    explicit LinuxFinderServices(const TimeOuts& timeOuts);

    bool hasTrash() override { return true; }
    int16_t moveToTrash(const std::string& path) override;

    // Both throw Interrupted when a signal comes.

    bool isRunning() override;
    int16_t reveal(const std::string& path) override;

private:
    TimeOuts timeOuts_;
};
