#pragma once

#include "FileEvents.h"
#include "WatchSchedule.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// By what a file is recognised as unchanged.
struct FileStamp {
    uint64_t device = 0;
    uint64_t file = 0;
    int64_t size = 0;
    int64_t modified = 0; // nanoseconds
    int64_t statusChanged = 0;

    bool operator==(const FileStamp&) const = default;
};

/// Of the file that a path leads to; absent if there is none, or no regular one.
std::optional<FileStamp> stampOf(const std::string& path);

/// How one synchronisation of all present files went.
struct WatchRound {
    WatchSchedule::Outcome outcome {};
    std::vector<std::string> troubles; // what failed, was refused or still differs: a line for each
};

/// Keeps files in step until a signal comes: looks, waits and synchronises as the schedule says.
///
/// A missing file is left out. What goes wrong is said once, and again only after it has changed.
class WatchLoop {
public:
    struct Partners {
        FileEvents& events;
        std::function<WatchSchedule::Time()> now;
        std::function<std::optional<FileStamp>(const std::string&)> stampOf;
        std::function<WatchRound(const std::vector<std::string>&)> synchronise; // of two files or more
        std::function<void(const std::string&)> say; // one line: what goes on
        std::function<void(const std::string&)> complain; // what is in the way
    };

    WatchLoop(std::vector<std::string> paths, const WatchSchedule::Times& times, Partners partners);

    /// Never returns. Throws Interrupted, and what the synchronisation throws.
    [[noreturn]] void run();

private:
    using Stamps = std::vector<std::optional<FileStamp>>;

    void look();
    void synchronise();
    WatchSchedule::Outcome runRound();
    void wait();
    Stamps presentStamps() const;
    std::vector<std::string> presentPaths() const;
    void tellWhoIsThere(const Stamps& before);
    void tellUnwatched(const std::map<std::string, std::string>& unwatched);
    void tellTroubles(const std::vector<std::string>& troubles);
    void tellUnrest();

    const std::vector<std::string> paths_;
    const Partners partners_;
    WatchSchedule schedule_;
    std::optional<Stamps> stamps_; // as of the last look
    std::map<std::string, std::string> unwatched_;
    std::vector<std::string> troubles_; // as they were said last
    bool isUnrestTold_ = false;
};
