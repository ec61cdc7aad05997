#include "FileEvents.h"

#include "FileSteps.h"
#include "Interruption.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <utility>

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kEventsOfInterest = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE | IN_MOVED_FROM
    | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr uint32_t kEventsOfTheFolder = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;
constexpr int kMostLinks = 40; // as the kernel follows
constexpr int kMostReads = 64; // of one wait: a folder that never rests must not hold it up

/// The nearest folder above a path that is there, and the name in it that leads on.
std::pair<std::string, std::string> nearestPlace(const fs::path& path)
{
    fs::path inner = path;
    std::error_code ignored;
    while (inner.has_relative_path() && !fs::is_directory(inner.parent_path(), ignored))
        inner = inner.parent_path();
    return { inner.parent_path().string(), inner.filename().string() };
}

/// The path, and where each link leads on from there.
std::vector<fs::path> chainOfLinks(const std::string& path)
{
    std::error_code error;
    std::vector<fs::path> chain { fs::absolute(path, error) };
    while (chain.size() <= kMostLinks) {
        const fs::path target = fs::read_symlink(chain.back(), error);
        if (error)
            break;
        chain.push_back(
            chain.back().parent_path() / target); // as it stands: ".." behind a link is the kernel's to follow
    }
    return chain;
}

} // namespace

InotifyEvents::InotifyEvents(std::vector<std::string> paths)
    : paths_(std::move(paths))
{
}

InotifyEvents::~InotifyEvents()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

InotifyEvents::NamesByFolder InotifyEvents::placesOfAll() const
{
    NamesByFolder names;
    for (const std::string& path : paths_) {
        for (const fs::path& link : chainOfLinks(path)) {
            const auto [folder, name] = nearestPlace(link);
            names[folder].insert(name);
        }
    }
    return names;
}

bool InotifyEvents::open()
{
    if (descriptor_ < 0)
        descriptor_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    return descriptor_ >= 0;
}

std::map<std::string, std::string> InotifyEvents::follow()
{
    std::map<std::string, std::string> unwatched;
    std::map<int, std::set<std::string>> before = std::exchange(namesByWatch_, {});
    for (const auto& [folder, names] : placesOfAll()) {
        const int watch = open() ? ::inotify_add_watch(descriptor_, folder.c_str(), kEventsOfInterest) : -1;
        if (watch < 0)
            unwatched[folder] = std::strerror(errno);
        else
            namesByWatch_[watch].insert(names.begin(), names.end());
    }
    for (const auto& [watch, names] : before) {
        if (!namesByWatch_.contains(watch))
            ::inotify_rm_watch(descriptor_, watch);
    }
    return unwatched;
}

bool InotifyEvents::wait(std::chrono::milliseconds atMost)
{
    throwIfInterrupted();
    const auto timeOut = std::clamp<std::chrono::milliseconds::rep>(atMost.count(), 0, INT_MAX);
    pollfd waitFor[] = { { descriptor_, POLLIN, 0 }, { interruptionDescriptor(), POLLIN, 0 } }; // -1 is passed over
    ::poll(waitFor, std::size(waitFor), static_cast<int>(timeOut));
    throwIfInterrupted();
    return takeEvents();
}

bool InotifyEvents::takeEvents()
{
    alignas(inotify_event) std::array<char, 65536> buffer;
    bool concerned = false;
    for (int reads = 0; descriptor_ >= 0 && reads < kMostReads; ++reads) {
        const ssize_t length = ::read(descriptor_, buffer.data(), buffer.size());
        if (length <= 0)
            break;
        for (ssize_t offset = 0; offset < length;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(buffer.data() + offset);
            concerned |= concerns(event->wd, event->mask, event->len > 0 ? event->name : "");
            offset += static_cast<ssize_t>(sizeof *event + event->len);
        }
    }
    return concerned;
}

bool InotifyEvents::concerns(int watch, uint32_t mask, const std::string& name)
{
    if ((mask & IN_Q_OVERFLOW) != 0)
        return true;
    const auto found = namesByWatch_.find(watch);
    if (found == namesByWatch_.end())
        return false; // of a watch that was given up
    if ((mask & kEventsOfTheFolder) == 0)
        return found->second.contains(name);
    if ((mask & IN_IGNORED) != 0)
        namesByWatch_.erase(found);
    return true;
}
