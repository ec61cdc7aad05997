#pragma once

#include "NSData.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class Console;

/// Numbered backups ("vault backup 3.vlr" beside "vault.vlr") of the files that a run is about to replace.
///
/// Ending the object before `keep` removes what it has made: a run that changed nothing leaves nothing.
///
/// Files that are named as `spared` are never removed, though their names be those of backups: they take part as well.
class Backups {
public:
    /// `most` of each file are kept, the new one included.
    Backups(uint32_t most, std::vector<std::string> spared, Console& console)
        : most_(most)
        , spared_(std::move(spared))
        , console_(console)
    {
    }
    ~Backups();
    Backups(const Backups&) = delete;
    Backups& operator=(const Backups&) = delete;

    /// Copies a file, whose bytes must be these, and answers the copy's path. Says a word when the numbers run out.
    /// Raises: CommandFailure (kFailed), FileChanged. Throws Interrupted.
    std::string make(const std::string& path, const NSData& bytes);

    /// The files have been replaced: the backups stay.
    void keep() noexcept { isKept_ = true; }

    /// Behind `keep`: removes older ones, so that as many are left as wanted. What fails here comes too late for the
    /// result.
    void prune();

    static constexpr uint32_t kHighestNumber = 100;

private:
    std::vector<std::string> sparedAnd(const std::string& path) const;

    struct Made {
        std::string path; // of the file
        std::string backup; // empty until it is there
    };

    const uint32_t most_;
    const std::vector<std::string> spared_;
    Console& console_;
    std::vector<Made> made_;
    bool isKept_ = false;
};

/// Removes a file's oldest backups, by the time of their content's last change and then by their numbers, until `most`
/// are left. One that holds damage goes only where another backup holds the same bytes; the paths in `spared` stay as
/// well. What can't be removed stays.
void pruneBackups(const std::string& path, std::size_t most, const std::vector<std::string>& spared);

/// The paths of a file's backups, the oldest first.
std::vector<std::string> backupsOf(const std::string& path);
