#pragma once

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

/// Word of what happens to some files, from a system that may have none, lose some, or tell too much. So it says when to
/// look, and never what is there.
class FileEvents {
public:
    virtual ~FileEvents() = default;

    /// Follows the files to where their paths lead by now. Call it whenever something has happened and from time to
    /// time, as not every change of a folder is told. The folders whose events can't be had, and why.
    virtual std::map<std::string, std::string> follow() = 0;

    /// Waits until something happens, at most this long; true if it may concern the files. False may come early. Throws
    /// Interrupted when a signal comes.
    virtual bool wait(std::chrono::milliseconds atMost) = 0;
};

/// The kernel's events for the folders that files stand in. Folders rather than files, since most programs replace a file
/// by renaming another one over it.
///
/// Of a link, the folder of each link on the way is watched, and the real file's. For a folder that isn't there the
/// nearest one above it is watched, so that its return is seen. What is mounted over a folder is told by nobody: the next
/// `follow` finds it.
class InotifyEvents final : public FileEvents {
public:
    explicit InotifyEvents(std::vector<std::string> paths);
    ~InotifyEvents() override;
    InotifyEvents(const InotifyEvents&) = delete;
    InotifyEvents& operator=(const InotifyEvents&) = delete;

    std::map<std::string, std::string> follow() override;

    /// True also if the kernel has lost events.
    bool wait(std::chrono::milliseconds atMost) override;

private:
    using NamesByFolder = std::map<std::string, std::set<std::string>>;

    NamesByFolder placesOfAll() const;
    bool open();
    bool takeEvents();
    bool concerns(int watch, uint32_t mask, const std::string& name);

    const std::vector<std::string> paths_;
    int descriptor_ = -1;
    std::map<int, std::set<std::string>> namesByWatch_;
};
