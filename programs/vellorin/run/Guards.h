#pragma once

#include "ExitStatus.h"

#include <string>
#include <vector>

class Console;
class Journal;
struct SyncPlan;

/// Which refusals the user has waved aside.
struct GuardOptions {
    bool allowRemovals = false; // --allow-removals
    bool allowUnrelated = false; // --allow-unrelated
    bool allowDamage = false; // --allow-damage
    bool allowOlder = false; // --allow-older
};

/// A reason not to synchronise these files without being told to.
struct Objection {
    enum class Kind {
        Removals,
        Unrelated,
        Damage,
        OlderState
    };

    Kind kind {};
    std::string message; // what, on which path
};

/// "removals", "unrelated", "damage", "older-state": in JSON and in tests.
std::string nameOf(Objection::Kind kind);
std::string optionFor(Objection::Kind kind);

/// A command that ended by an objection. The message names the guard and the option to go on.
class GuardRefusal final : public CommandFailure {
public:
    explicit GuardRefusal(const Objection& objection);

    const Objection objection;
};

/// All objections to a plan, whatever the options say.
///
/// - Removals: more than 10 records and more than a quarter of a side would go from it.
/// - Unrelated: both have records, and no UUID, deletion or identity in common.
/// - Damage: damaged entries on a side (VaultDamage), each with its offset.
/// - OlderState: a file is an older state of the vault than the one that the journal's last run left there: its bytes
///   are those that an earlier run knew, it has fewer deletions, or its date of opening is earlier and it has fewer
///   records and deletions in all. The date alone says nothing: a program may have opened the file before the run and
///   save it later, and the clock of another machine may be slow.
std::vector<Objection> objectionsTo(const SyncPlan& plan, const Journal& journal);

/// Says which objections would refuse the planned run, as the refusal would say it.
void warnOfRefusals(const std::vector<Objection>& objections, const GuardOptions& options, Console& console);

/// Ends the command by the first objection that neither the options nor the user at a terminal wave aside. What the
/// user has waved aside is in the options from then on. Raises: GuardRefusal. Throws Interrupted.
void refuseUnlessAllowed(const std::vector<Objection>& objections, GuardOptions& options, Console& console);
