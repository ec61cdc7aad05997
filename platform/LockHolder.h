#pragma once

#include <ctime>
#include <optional>
#include <string>

#include <sys/types.h>

/// Who holds a write lock, as far as the lock itself tells: by the note `holder` in its folder, which is for people.
///
/// Another program's lock may have no note, or be no folder; so may one whose holder was killed as it took it. Whatever
/// stands in a note was written by somebody else: it may hold anything.
struct LockHolder {
    bool hasNote = false; // else the first four are empty
    std::string host;
    pid_t process = 0;
    std::time_t started = 0; // the process; 0 if the note doesn't say
    std::string program;
    std::time_t since = 0; // when the lock was taken
    std::string owner; // of the lock, by name or by number
    bool isPlainLock = false; // a folder with nothing but a note in it, or an empty file: no other can be broken safely
    bool isInUse = false; // a living process of this system has it open as its own

    bool operator==(const LockHolder&) const = default;
};

/// What is known of a holder's life.
enum class HolderState {
    Lives,
    Gone, // it was a process of this host, and there is none such any more
    OnAnotherHost, // where nobody can be asked
    Unknown // the lock doesn't say whose it is
};

/// Who holds the lock at this path (DocumentLock::lockPath of a document). Absent with errno: ENOENT if there is no
/// lock, anything else if the system doesn't let one look.
std::optional<LockHolder> holderOfLock(const std::string& lockPath);

/// Asks the system. A process with the note's number counts as the holder only if it started when the note says, within
/// two seconds; where the system doesn't tell when it started, it counts.
HolderState stateOf(const LockHolder& holder);

/// The note of this process. The system is asked once when it started: first before the process is restricted to
/// folders.
std::string noteOfThisProcess();
