#include "Explanation.h"

#include "Console.h"
#include "ExitStatus.h"
#include "FilePaths.h"
#include "Json.h"
#include "VaultContents.h"
#include "VaultDifference.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <utility>

namespace {

constexpr std::size_t kMostNamed = 5;

using Deed = Explanation::Deed;

std::vector<std::pair<Deed, const std::vector<std::string>*>> deedsIn(const JournalFile& file)
{
    return { { Deed::Added, &file.added }, { Deed::Removed, &file.removed }, { Deed::Doubled, &file.doubled } };
}

/// Each UUID that begins like this, by its folded form.
class Candidates {
public:
    explicit Candidates(const std::string& begin)
        : begin(DeletionSet::folded(begin))
    {
    }

    void add(std::string_view uuid)
    {
        std::string key = DeletionSet::folded(uuid);
        if (key.starts_with(begin))
            found.try_emplace(std::move(key), uuid);
    }

    /// Raises: CommandFailure (kRefused).
    std::string onlyOne(const std::string& path) const
    {
        const auto whole = found.find(begin);
        if (whole != found.end())
            return whole->second;
        if (found.empty())
            throw CommandFailure(kRefused, path + ": neither the file nor the journal knows a record " + begin);
        if (found.size() > 1)
            throw CommandFailure(kRefused, path + ": several records begin with " + begin + ": " + names());
        return found.begin()->second;
    }

private:
    std::string names() const
    {
        std::string result;
        std::size_t number = 0;
        for (const auto& [key, uuid] : found) {
            if (number++ == kMostNamed)
                return result + ", ...";
            result += (result.empty() ? "" : ", ") + uuid;
        }
        return result;
    }

    const std::string begin;
    std::map<std::string, std::string> found;
};

/// Raises: CommandFailure (kRefused) with the name as `told`.
std::string foundUuid(const std::string& told, const std::string& path, const std::string& begin,
    const VaultContents& vault, const std::vector<JournalRun>& runs)
{
    Candidates candidates(begin);
    for (const VaultRecord& record : vault.records)
        candidates.add(record.uuid);
    for (const VaultDeletion& deletion : vault.deletions)
        candidates.add(deletion.uuid);
    for (const JournalRun& run : runs) {
        for (const auto& [deed, uuids] : deedsIn(*run.file(path)))
            std::for_each(uuids->begin(), uuids->end(), [&](const std::string& uuid) { candidates.add(uuid); });
    }
    return candidates.onlyOne(told);
}

bool holds(const std::vector<std::string>& uuids, const std::string& foldedUuid)
{
    return std::any_of(
        uuids.begin(), uuids.end(), [&](const auto& each) { return DeletionSet::folded(each) == foldedUuid; });
}

Explanation::Event eventOf(const JournalRun& run, Deed deed, const std::string& path)
{
    Explanation::Event event { run.id, run.time(), run.command, deed, {}, false, false, false };
    for (const JournalFile& file : run.files) {
        if (file.path != path)
            event.otherFiles.push_back(file.path);
    }
    event.wasTakenBack = run.state == JournalRun::State::Undone;
    event.wasCutOff = !event.wasTakenBack && run.state != JournalRun::State::Done;
    return event;
}

std::string joined(const std::vector<std::string>& paths)
{
    std::string result;
    for (const std::string& path : paths)
        result += (result.empty() ? "" : ", ") + printable(path);
    return result;
}

std::string wordsOf(const Explanation::Event& event)
{
    std::string words;
    switch (event.deed) {
    case Deed::Added: words = "came from " + joined(event.otherFiles); break;
    case Deed::Removed:
        words = "was removed, as " + (event.bySelf ? "the file itself" : joined(event.otherFiles))
            + " listed it as deleted";
        break;
    case Deed::Doubled: words = "stays twice since then: look for its other version"; break;
    }
    if (event.wasTakenBack)
        words += " (taken back since)";
    if (event.wasCutOff)
        words += " (the run was cut off)";
    return words;
}

std::string presentState(const Explanation& explanation)
{
    if (explanation.categories.empty())
        return explanation.isListedAsDeleted ? "is not there; it is listed as deleted"
                                             : "is not there, and not listed as deleted";
    std::string text = "is there, in the category ";
    for (std::size_t i = 0; i < explanation.categories.size(); ++i)
        text += (i > 0 ? " and in " : "") + ("\"" + printable(explanation.categories[i]) + "\"");
    return text + (explanation.isListedAsDeleted ? ", and listed as deleted all the same" : "");
}

const char* nameOf(Deed deed)
{
    switch (deed) {
    case Deed::Added: return "added";
    case Deed::Removed: return "removed";
    case Deed::Doubled: return "doubled";
    }
    return "";
}

} // namespace

Explanation explain(const std::string& path, const std::string& uuid, const Journal& journal)
{
    const VaultContents vault = readVault(path);
    const std::string known = canonicalPath(path);
    std::vector<JournalRun> runs = journal.runsOf(known);
    Explanation explanation { path, foundUuid(path, known, uuid, vault, runs), {}, {}, false };
    const std::string key = DeletionSet::folded(explanation.uuid);
    std::reverse(runs.begin(), runs.end());
    for (const JournalRun& run : runs) {
        for (const auto& [deed, uuids] : deedsIn(*run.file(known))) {
            if (!holds(*uuids, key))
                continue;
            explanation.events.push_back(eventOf(run, deed, known));
            explanation.events.back().bySelf = deed == Deed::Removed && holds(run.file(known)->selfDeleted, key);
        }
    }
    for (const VaultRecord& record : vault.records) {
        if (DeletionSet::folded(record.uuid) == key)
            explanation.categories.emplace_back(record.category);
    }
    explanation.isListedAsDeleted = DeletionSet(vault.deletions).names(explanation.uuid);
    return explanation;
}

void print(const Explanation& explanation, Console& console)
{
    std::string text
        = printable(explanation.uuid) + " " + presentState(explanation) + " (" + printable(explanation.path) + ")\n";
    for (const Explanation::Event& event : explanation.events)
        text += event.time + "  " + printable(event.command) + ": " + wordsOf(event) + "\n";
    if (explanation.events.empty())
        text += "No run that the journal knows has brought, removed or doubled it.\n";
    console.data(text);
}

nlohmann::ordered_json jsonOf(const Explanation& explanation)
{
    using Json = nlohmann::ordered_json;
    Json events = Json::array();
    for (const Explanation::Event& event : explanation.events) {
        Json others = Json::array();
        for (const std::string& path : event.otherFiles)
            others.push_back(jsonText(path));
        events.push_back({ { "run", event.runId }, { "command", event.command }, { "deed", nameOf(event.deed) },
            { "otherFiles", others }, { "bySelf", event.bySelf }, { "takenBack", event.wasTakenBack },
            { "cutOff", event.wasCutOff } });
    }
    Json categories = Json::array();
    for (const std::string& category : explanation.categories)
        categories.push_back(jsonText(category));
    return { { "path", jsonText(explanation.path) }, { "uuid", jsonText(explanation.uuid) },
        { "present", !explanation.categories.empty() }, { "categories", categories },
        { "deleted", explanation.isListedAsDeleted }, { "events", events } };
}
