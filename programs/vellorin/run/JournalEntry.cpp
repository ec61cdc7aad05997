#include "JournalEntry.h"

#include "Json.h"
#include "JsonTree.h"

#include <array>
#include <limits>

namespace {

using Kind = JsonTree::Kind;

constexpr uint64_t kVersion = 1;

constexpr std::array kStates { "begun", "done", "half-done", "undo-begun", "undone" }; // as JournalRun::State

/// One member in a line, without the library's lists and objects, as JsonTree says.
class EntryWriter {
public:
    void member(const char* name, const std::string& value) { line(name, jsonTextInLine(value)); }
    void member(const char* name, uint64_t value) { line(name, std::to_string(value)); }
    void member(const char* name, const std::vector<std::string>& values)
    {
        std::string list;
        for (const std::string& value : values)
            list.append(list.empty() ? "" : ", ").append(jsonTextInLine(value));
        line(name, "[" + list + "]");
    }
    void beginFiles() { begin("\"files\": ["); }
    void beginObject() { begin("{"); }
    void end(char bracket)
    {
        indent.pop_back();
        text.append("\n").append(indent).append(1, bracket);
        isFirst = false;
    }

    std::string text;

private:
    void line(const char* name, const std::string& value)
    {
        separate();
        text.append("\"").append(name).append("\": ").append(value);
        isFirst = false;
    }

    void begin(const char* opening)
    {
        separate();
        text += opening;
        indent += ' ';
        isFirst = true;
    }

    void separate()
    {
        text += isFirst ? "" : ",";
        text.append(text.empty() ? "" : "\n").append(indent);
    }

    std::string indent;
    bool isFirst = true;
};

void write(EntryWriter& entry, const JournalFile& file)
{
    entry.beginObject();
    entry.member("path", file.path);
    entry.member("identity", file.identity);
    entry.member("hash-before", file.hashBefore);
    entry.member("hash-after", file.hashAfter);
    entry.member("backup", file.backup);
    entry.member("open-date-after", file.openDateAfter);
    entry.member("deletions-after", file.deletionsAfter);
    entry.member("added", file.added);
    entry.member("removed", file.removed);
    entry.member("doubled", file.doubled);
    if (file.recordsAfter)
        entry.member("records-after", *file.recordsAfter);
    entry.member("self-deleted", file.selfDeleted);
    entry.end('}');
}

/// What was read is no entry.
struct NoEntry { };

const JsonTree& at(const JsonTree& object, const char* name)
{
    const JsonTree* const found = object.member(name);
    if (found == nullptr)
        throw NoEntry {};
    return *found;
}

std::string textOf(const JsonTree& value)
{
    if (value.kind == Kind::Text)
        return value.text;
    const JsonTree& digits = at(value, "hex");
    const std::optional<std::string> bytes = bytesOfHex(digits.text);
    if (digits.kind != Kind::Text || !bytes)
        throw NoEntry {};
    return *bytes;
}

uint32_t numberOf(const JsonTree& value)
{
    if (value.kind != Kind::Number || value.number > std::numeric_limits<uint32_t>::max())
        throw NoEntry {};
    return static_cast<uint32_t>(value.number);
}

const std::vector<JsonTree>& listOf(const JsonTree& value)
{
    if (value.kind != Kind::List)
        throw NoEntry {};
    return value.elements;
}

std::vector<std::string> textsOf(const JsonTree& value)
{
    std::vector<std::string> texts;
    for (const JsonTree& text : listOf(value))
        texts.push_back(textOf(text));
    return texts;
}

JournalFile fileOf(const JsonTree& entry)
{
    JournalFile file;
    file.path = textOf(at(entry, "path"));
    file.identity = textOf(at(entry, "identity"));
    file.hashBefore = textOf(at(entry, "hash-before"));
    file.hashAfter = textOf(at(entry, "hash-after"));
    file.backup = textOf(at(entry, "backup"));
    file.openDateAfter = numberOf(at(entry, "open-date-after"));
    file.deletionsAfter = numberOf(at(entry, "deletions-after"));
    if (const JsonTree* const records = entry.member("records-after"))
        file.recordsAfter = numberOf(*records);
    file.added = textsOf(at(entry, "added"));
    file.removed = textsOf(at(entry, "removed"));
    file.doubled = textsOf(at(entry, "doubled"));
    if (const JsonTree* const selfDeleted = entry.member("self-deleted"))
        file.selfDeleted = textsOf(*selfDeleted);
    return file;
}

JournalRun::State stateNamed(const std::string& name)
{
    for (std::size_t i = 0; i < kStates.size(); ++i) {
        if (name == kStates[i])
            return static_cast<JournalRun::State>(i);
    }
    throw NoEntry {};
}

JournalRun runOf(const JsonTree& entry)
{
    if (numberOf(at(entry, "version")) != kVersion)
        throw NoEntry {};
    JournalRun run;
    run.id = textOf(at(entry, "id"));
    run.command = textOf(at(entry, "command"));
    run.batch = textOf(at(entry, "batch"));
    run.state = stateNamed(textOf(at(entry, "state")));
    for (const JsonTree& file : listOf(at(entry, "files")))
        run.files.push_back(fileOf(file));
    return run;
}

} // namespace

std::string textOf(const JournalRun& run)
{
    EntryWriter entry;
    entry.beginObject();
    entry.member("version", kVersion);
    entry.member("id", run.id);
    entry.member("command", run.command);
    entry.member("batch", run.batch);
    entry.member("state", std::string(kStates.at(static_cast<std::size_t>(run.state))));
    entry.beginFiles();
    for (const JournalFile& file : run.files)
        write(entry, file);
    entry.end(']');
    entry.end('}');
    return entry.text + "\n";
}

std::optional<JournalRun> runOfText(const std::string& text)
{
    const std::optional<JsonTree> entry = JsonTree::ofText(text);
    if (!entry)
        return std::nullopt;
    try {
        return runOf(*entry);
    } catch (const NoEntry&) {
        return std::nullopt;
    }
}
