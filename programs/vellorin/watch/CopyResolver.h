#pragma once

#include "ExitStatus.h"
#include "SyncReport.h"
#include "VaultContents.h"

#include <functional>
#include <optional>
#include <string>

class FinderServices;

/// True if a vault holds all that another one has to give: each of its records stands here under its UUID and category or
/// is deleted here, each of its deletions is known here, and none of its deletions still has its record here. Bodies
/// aren't compared: of two records with one UUID and category each side keeps its own.
///
/// What `other` can't give, since it is damaged, doesn't count.
bool holdsAllOf(const VaultContents& vault, const VaultContents& other);

/// What became of one copy.
struct ResolvedCopy {
    enum class Outcome {
        NothingNew, // the vault held all of it before
        Merged, // what it had is in the vault
        Left // nothing was done, or it isn't proved that all of it is in the vault
    };

    Outcome outcome {};
    bool inTrash = false;
    ExitStatus status = kDone;
    std::string message; // what stands against it, or what there is to look at
    std::optional<SyncReport> report; // of the merge
};

/// Takes a copy of a vault out of the way: what is new in it goes to the vault, and it goes to the trash with the bytes
/// that it had.
class CopyResolver {
public:
    struct Partners {
        /// Brings what the copy has to the vault, and leaves the copy as it is. Raises: CommandFailure.
        std::function<SyncReport(const std::string& vault, const std::string& copy)> merge;
        FinderServices& finder;
    };

    struct Manner {
        bool dryRun = false;
        bool allowDamage = false; // damaged entries of a copy may be lost with it
    };

    CopyResolver(Partners partners, const Manner& manner);

    /// The copy is read again after the merge, and goes only if the vault, as it lies there by then, holds all of it. One
    /// that changes all the time is left after three merges. Of a copy that is changed while it goes to the trash, that
    /// is told. Never raises CommandFailure: it becomes status and message. Throws Interrupted.
    ResolvedCopy resolve(const std::string& vault, const std::string& copy) const;

private:
    class OpenCopy;

    ResolvedCopy tryToResolve(const std::string& vault, const std::string& copy) const;
    bool mayGo(const std::string& vault, const VaultContents& copy) const;
    void moveToTrash(const OpenCopy& copy, const std::string& vault, ResolvedCopy& result) const;

    const Partners partners_;
    const Manner manner_;
};
