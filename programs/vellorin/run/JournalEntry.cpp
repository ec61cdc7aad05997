#include "JournalEntry.h"

#include "ExitStatus.h"
#include "Json.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdint>

namespace {

using Json = nlohmann::ordered_json;

constexpr int kVersion = 1;

constexpr std::array kStates { "begun", "done", "half-done", "undo-begun", "undone" }; // as JournalRun::State

Json listOf(const std::vector<std::string>& texts)
{
    Json list = Json::array();
    for (const std::string& text : texts)
        list.push_back(jsonText(text));
    return list;
}

// A conversion by the library would cut a number to its bits, and takes anything for a list.

uint32_t numberIn(const Json& json, const char* name)
{
    const Json& number = json.at(name);
    if (!number.is_number_unsigned() || number.get<uint64_t>() > UINT32_MAX)
        throw CommandFailure(kFailed, std::string("a number in JSON is none: ") + name);
    return number.get<uint32_t>();
}

const Json& listIn(const Json& json, const char* name)
{
    const Json& list = json.at(name);
    if (!list.is_array())
        throw CommandFailure(kFailed, std::string("a list in JSON is none: ") + name);
    return list;
}

std::vector<std::string> textsIn(const Json& json, const char* name)
{
    std::vector<std::string> texts;
    for (const Json& text : listIn(json, name))
        texts.push_back(bytesOfJson(text));
    return texts;
}

Json jsonOf(const JournalFile& file)
{
    Json json { { "path", jsonText(file.path) }, { "identity", jsonText(file.identity) },
        { "hash-before", file.hashBefore }, { "hash-after", file.hashAfter }, { "backup", jsonText(file.backup) },
        { "open-date-after", file.openDateAfter }, { "deletions-after", file.deletionsAfter },
        { "added", listOf(file.added) }, { "removed", listOf(file.removed) }, { "doubled", listOf(file.doubled) } };
    if (file.recordsAfter)
        json["records-after"] = *file.recordsAfter;
    json["self-deleted"] = listOf(file.selfDeleted);
    return json;
}

JournalFile fileOf(const Json& json)
{
    JournalFile file;
    file.path = bytesOfJson(json.at("path"));
    file.identity = bytesOfJson(json.at("identity"));
    file.hashBefore = json.at("hash-before").get<std::string>();
    file.hashAfter = json.at("hash-after").get<std::string>();
    file.backup = bytesOfJson(json.at("backup"));
    file.openDateAfter = numberIn(json, "open-date-after");
    file.deletionsAfter = numberIn(json, "deletions-after");
    if (json.contains("records-after"))
        file.recordsAfter = numberIn(json, "records-after");
    file.added = textsIn(json, "added");
    file.removed = textsIn(json, "removed");
    file.doubled = textsIn(json, "doubled");
    if (json.contains("self-deleted"))
        file.selfDeleted = textsIn(json, "self-deleted");
    return file;
}

std::optional<JournalRun::State> stateNamed(const std::string& name)
{
    for (std::size_t i = 0; i < kStates.size(); ++i) {
        if (name == kStates[i])
            return static_cast<JournalRun::State>(i);
    }
    return std::nullopt;
}

std::optional<JournalRun> runOf(const Json& json)
{
    const std::optional<JournalRun::State> state = stateNamed(json.at("state").get<std::string>());
    if (json.at("version") != kVersion || !state)
        return std::nullopt;
    JournalRun run;
    run.id = json.at("id").get<std::string>();
    run.command = json.at("command").get<std::string>();
    run.batch = json.at("batch").get<std::string>();
    run.state = *state;
    for (const Json& file : listIn(json, "files"))
        run.files.push_back(fileOf(file));
    return run;
}

} // namespace

std::string textOf(const JournalRun& run)
{
    Json files = Json::array();
    for (const JournalFile& file : run.files)
        files.push_back(jsonOf(file));
    const Json json { { "version", kVersion }, { "id", run.id }, { "command", run.command }, { "batch", run.batch },
        { "state", kStates.at(static_cast<std::size_t>(run.state)) }, { "files", files } };
    return json.dump(1) + "\n";
}

std::optional<JournalRun> runOfText(const std::string& text)
{
    try {
        return runOf(Json::parse(text));
    } catch (const Json::exception&) { // no JSON, or not these members
        return std::nullopt;
    } catch (const CommandFailure&) { // a text, number or list that is none
        return std::nullopt;
    }
}
