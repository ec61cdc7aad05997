#pragma once

#include "NSData.h"

#include <cstdint>
#include <string>
#include <vector>

class Console;

/// Numbered backups ("vault backup 3.vlr" beside "vault.vlr") of the files that a run is about to replace.
///
/// Ending the object before `keep` removes what it has made: a run that changed nothing leaves nothing.
class Backups {
public:
    /// `most` of each file are kept, the new one included.
    Backups(uint32_t most, Console& console)
        : most_(most)
        , console_(console)
    {
    }
    ~Backups();
    Backups(const Backups&) = delete;
    Backups& operator=(const Backups&) = delete;

    /// Copies a file, whose bytes must be these, and answers the copy's path. Says a word when the numbers run out.
    /// Raises: CommandFailure (kFailed), FileChanged. Throws Interrupted.
    std::string make(const std::string& path, const NSData& bytes);

    /// The files have been replaced: the backups stay, and of older ones only as many as wanted.
    void keep();

    static constexpr uint32_t kHighestNumber = 100;

private:
    struct Made {
        std::string path; // of the file
        std::string backup;
    };

    const uint32_t most_;
    Console& console_;
    std::vector<Made> made_;
};

/// Removes a file's oldest backups, by the time of their content's last change and then by their numbers, until `most`
/// are left. One that holds damage goes only where another backup holds the same bytes; the paths in `spared` stay as
/// well. What can't be removed stays.
void pruneBackups(const std::string& path, std::size_t most, const std::vector<std::string>& spared);

/// The paths of a file's backups, the oldest first.
std::vector<std::string> backupsOf(const std::string& path);
