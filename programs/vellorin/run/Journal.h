#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

class NSData;

/// One file of a run, as the journal remembers it.
struct JournalFile {
    std::string path; // absolute, links followed
    std::string identity; // of the vault
    std::string hashBefore; // SHA-256 in hexadecimal digits
    std::string hashAfter; // the same as before if the run didn't write it
    std::string backup; // path of the numbered backup of the bytes before, or empty
    uint32_t openDateAfter = 0; // the vault's date of opening, seconds since 2001
    uint32_t deletionsAfter = 0;
    std::optional<uint32_t> recordsAfter; // older entries don't tell
    std::vector<std::string> added; // UUIDs that the run brought to this file
    std::vector<std::string> removed;
    std::vector<std::string> doubled; // stand twice, or as two likely versions, since this run
    std::vector<std::string> selfDeleted; // of those removed: the file's own deletions named them; not in older entries

    bool operator==(const JournalFile&) const = default;
};

/// One run that replaced files, or began to.
struct JournalRun {
    /// Begun and UndoBegun stay where a run was killed: each file has its hash from before or from after then.
    enum class State {
        Begun,
        Done,
        HalfDone,
        UndoBegun,
        Undone
    };

    std::string id; // "2026-11-21T10:36:08.123456Z-1a2b3c4d", ordered by time
    std::string command; // "sync", "resolve", "watch"
    std::string batch; // the id of the first of several runs that one command made; empty for a run by itself
    State state = State::Begun;
    std::vector<JournalFile> files; // in the order of writing

    /// By its path; null if the file took no part.
    const JournalFile* file(const std::string& path) const;

    /// "2026-11-21 10:36:08 UTC"
    std::string time() const;

    bool operator==(const JournalRun&) const = default;
};

/// The hash that a file has when the run is as its state says; of a run that stopped half-way, either of both.
bool leftWithHash(const JournalRun& run, const JournalFile& file, const std::string& hash);

/// What was synchronised when: one small file for each run in $XDG_STATE_HOME/vellorin/journal (~/.local/state),
/// readable by its owner alone. No secret stands in it: paths, identities, UUIDs, hashes.
///
/// A run is noted before its first replacement (Begun) and again behind its last, each at one stroke and synced, so
/// that a killed run leaves word of what it meant to do. The newest 1,000 runs of a file are kept.
/// An entry that can't be read is skipped, with a word to the log: what others did to the
/// journal must never stand in a synchronisation's way.
class Journal {
public:
    Journal(); // of this user
    explicit Journal(std::string folder);

    /// A fresh id for a run that begins now, greater than that of the newest run: a clock that went back doesn't change
    /// the order.
    std::string newId() const;

    /// Makes the folder, if it isn't there. Raises: CommandFailure (kFailed).
    void makeFolder() const;

    /// Writes or replaces the run's entry, and removes those that are too many, now and then. Raises: CommandFailure
    /// (kFailed) if it can't be written. Throws Interrupted.
    void write(const JournalRun& run);

    /// Removes the entry of a run that came to nothing. One that can't be removed stays: the files' hashes tell the
    /// same.
    void forget(const std::string& id) { remove(pathOf(id)); }
    static void remove(const std::string& pathOfEntry) noexcept;

    std::string pathOf(const std::string& id) const;

    /// Shows the runs, newest first, until `isEnough` answers true.
    void visit(const std::function<bool(const JournalRun&)>& isEnough) const;

    /// The runs in which the file of this canonical path took part, newest first; at most `most`. All of them know it:
    /// the path is not looked up again, as a link or the file may come and go meanwhile.
    std::vector<JournalRun> runsOf(const std::string& path, std::size_t most = SIZE_MAX) const;

    /// The newest run of all, if any.
    std::optional<JournalRun> newestRun() const;

    const std::string& folder() const { return folder_; }

    static constexpr std::size_t kRunsKept = 1000; // of each file

private:
    std::vector<std::string> idsNewestFirst() const;
    std::optional<JournalRun> readRun(const std::string& id) const;
    void prune() const;

    std::string folder_; // empty if there is no place for one
};

/// SHA-256 in hexadecimal digits.
std::string hashOf(const NSData& bytes);
