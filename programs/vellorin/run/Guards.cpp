#include "Guards.h"

#include "Console.h"
#include "ExitStatus.h"
#include "FilePaths.h"
#include "Journal.h"
#include "SyncPlan.h"
#include "VaultObjections.h"

#include <optional>
#include <utility>

namespace {

using Kind = Objection::Kind;
using Words = std::optional<std::string>;

NamedVault named(const PlannedFile& file)
{
    return { file.path, file.contents };
}

/// The newest run that stands; behind runs that were taken back, the last of those.
const JournalRun& lastRun(const std::vector<JournalRun>& newestFirst)
{
    std::size_t i = 0;
    const auto isUndone = [&](std::size_t index) { return newestFirst[index].state == JournalRun::State::Undone; };
    while (isUndone(i) && i + 1 < newestFirst.size() && isUndone(i + 1))
        ++i;
    return newestFirst[i];
}

bool holdsLess(const VaultContents& vault, const JournalFile& left)
{
    return left.recordsAfter
        && vault.records.size() + vault.deletions.size() < uint64_t { *left.recordsAfter } + left.deletionsAfter;
}

/// What says that a file is older than a run left it; absent where it is as it was left, or newer.
Words signOfOlderState(const PlannedFile& file, const Journal& journal)
{
    const std::string path = canonicalPath(file.path);
    const std::vector<JournalRun> runs = journal.runsOf(path);
    if (runs.empty())
        return std::nullopt;
    const JournalRun& last = lastRun(runs);
    const JournalFile& left = *last.file(path);
    if (leftWithHash(last, left, file.hash()))
        return std::nullopt;
    for (const JournalRun& run : runs) {
        const JournalFile& then = *run.file(path);
        if (file.hash() == then.hashBefore || file.hash() == then.hashAfter)
            return "it is the very file that the run of " + run.time() + " knew";
    }
    if (last.state != JournalRun::State::Done)
        return std::nullopt; // its numbers are not those of the file that it left
    if (file.contents.deletions.size() < left.deletionsAfter)
        return "it has fewer deletions than behind the run of " + last.time();
    if (file.contents.openDate < left.openDateAfter && holdsLess(file.contents, left))
        return "it holds less than behind the run of " + last.time()
            + ", and the program that wrote it had opened it before";
    return std::nullopt;
}

Words olderState(const PlannedFile& file, const Journal& journal)
{
    const Words sign = file.isOnDisk ? signOfOlderState(file, journal) : std::nullopt;
    if (!sign)
        return std::nullopt;
    return file.path + ": is older than the state in which the last run left it: " + *sign;
}

bool& allowance(Kind kind, GuardOptions& options)
{
    switch (kind) {
    case Kind::Removals: return options.allowRemovals;
    case Kind::Unrelated: return options.allowUnrelated;
    case Kind::Damage: return options.allowDamage;
    case Kind::OlderState: break;
    }
    return options.allowOlder;
}

} // namespace

std::string nameOf(Objection::Kind kind)
{
    switch (kind) {
    case Kind::Removals: return "removals";
    case Kind::Unrelated: return "unrelated";
    case Kind::Damage: return "damage";
    case Kind::OlderState: return "older-state";
    }
    return {};
}

std::string optionFor(Objection::Kind kind)
{
    switch (kind) {
    case Kind::Removals: return "--allow-removals";
    case Kind::Unrelated: return "--allow-unrelated";
    case Kind::Damage: return "--allow-damage";
    case Kind::OlderState: return "--allow-older";
    }
    return {};
}

std::vector<Objection> objectionsTo(const SyncPlan& plan, const Journal& journal)
{
    const NamedVault first = named(plan.first);
    const NamedVault second = named(plan.second);
    const std::size_t selfDeletedInFirst = plan.difference.selfDeletedInA.size();
    const std::size_t selfDeletedInSecond = plan.difference.selfDeletedInB.size();
    const std::pair<Kind, Words> found[] = {
        { Kind::Unrelated, objectionToUnrelated(first, second, plan.difference) },
        { Kind::Damage, objectionToDamage(first) },
        { Kind::Damage, objectionToDamage(second) },
        { Kind::OlderState, olderState(plan.first, journal) },
        { Kind::OlderState, olderState(plan.second, journal) },
        { Kind::Removals, objectionToRemovals(first, plan.first.removed.size(), selfDeletedInFirst, second) },
        { Kind::Removals, objectionToRemovals(second, plan.second.removed.size(), selfDeletedInSecond, first) },
    };
    std::vector<Objection> result;
    for (const auto& [kind, words] : found) {
        if (words)
            result.push_back({ kind, *words });
    }
    return result;
}

void warnOfRefusals(const std::vector<Objection>& objections, const GuardOptions& options, Console& console)
{
    GuardOptions allowed = options;
    for (const Objection& objection : objections) {
        if (!allowance(objection.kind, allowed))
            console.complain(printable("would be refused (" + nameOf(objection.kind) + "): " + objection.message
                + ". To go on all the same: " + optionFor(objection.kind)));
    }
}

void refuseUnlessAllowed(const std::vector<Objection>& objections, GuardOptions& options, Console& console)
{
    for (const Objection& objection : objections) {
        bool& isAllowed = allowance(objection.kind, options);
        isAllowed = isAllowed || console.confirm(printable(objection.message) + ". Go on?");
        if (!isAllowed)
            throw GuardRefusal(objection);
    }
}

GuardRefusal::GuardRefusal(const Objection& objection)
    : CommandFailure(kRefused,
        "refused (" + nameOf(objection.kind) + "): " + objection.message
            + "; no file was changed. To go on all the same: " + optionFor(objection.kind))
    , objection(objection)
{
}
