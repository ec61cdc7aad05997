#include "FuzzInput.h"
#include "JournalEntry.h"

#include <nlohmann/json.hpp>

// An entry of the journal: a text as it comes, and the entry of a run that the input fills with any bytes that paths
// and identities may hold. What is read says what stands in the text, and comes back the same from a second one; any
// other text is no entry, and nothing worse.

namespace {

using Json = nlohmann::json;

std::vector<std::string> takeTexts(FuzzInput& input)
{
    std::vector<std::string> texts;
    for (uint32_t left = input.below(4); left > 0; --left)
        texts.push_back(input.piece());
    return texts;
}

JournalFile takeFile(FuzzInput& input)
{
    JournalFile file;
    file.path = input.piece();
    file.identity = input.piece();
    file.hashBefore = std::to_string(input.number());
    file.hashAfter = std::to_string(input.number());
    file.backup = input.piece();
    file.openDateAfter = input.number();
    file.deletionsAfter = input.number();
    if (input.below(2) == 1)
        file.recordsAfter = input.number();
    for (std::vector<std::string>* const list : { &file.added, &file.removed, &file.doubled, &file.selfDeleted })
        *list = takeTexts(input);
    return file;
}

JournalRun takeRun(FuzzInput& input)
{
    JournalRun run;
    run.id = std::to_string(input.number());
    run.command = std::to_string(input.byte());
    run.batch = std::to_string(input.byte());
    run.state = static_cast<JournalRun::State>(input.below(5));
    for (uint32_t left = input.below(4); left > 0; --left)
        run.files.push_back(takeFile(input));
    return run;
}

bool isNumber(const Json& json, const char* name, uint32_t value)
{
    const Json& number = json.at(name);
    return number.is_number_unsigned() && number.get<uint64_t>() == value;
}

bool isText(const Json& json, const char* name, const std::string& value)
{
    return json.at(name).is_object() || json.at(name) == value; // an object holds bytes that are no text
}

bool isList(const Json& json, const char* name, const std::vector<std::string>& texts)
{
    const Json& list = json.at(name);
    if (!list.is_array() || list.size() != texts.size())
        return false;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (!list[i].is_object() && list[i] != texts[i])
            return false;
    }
    return true;
}

void expectFileAs(const Json& json, const JournalFile& file)
{
    expect(isText(json, "path", file.path) && isText(json, "identity", file.identity)
            && isText(json, "backup", file.backup),
        "path, identity and backup are the text's");
    expect(json.at("hash-before") == file.hashBefore && json.at("hash-after") == file.hashAfter, "so are the hashes");
    expect(
        isNumber(json, "open-date-after", file.openDateAfter) && isNumber(json, "deletions-after", file.deletionsAfter),
        "the numbers are the text's");
    expect(json.contains("records-after") == file.recordsAfter.has_value(), "the number of records, where it is told");
    expect(!file.recordsAfter || isNumber(json, "records-after", *file.recordsAfter), "is the text's");
    expect(isList(json, "added", file.added) && isList(json, "removed", file.removed)
            && isList(json, "doubled", file.doubled),
        "the lists are the text's");
    expect(json.contains("self-deleted") ? isList(json, "self-deleted", file.selfDeleted) : file.selfDeleted.empty(),
        "so is the list that older entries don't have");
}

void expectRunAs(const Json& json, const JournalRun& run)
{
    expect(json.at("version") == 1, "an entry is of a known version");
    expect(json.at("id") == run.id && json.at("command") == run.command && json.at("batch") == run.batch,
        "id, command and batch are the text's");
    expect(json.at("files").is_array() && json.at("files").size() == run.files.size(), "there are as many files");
    for (std::size_t i = 0; i < run.files.size(); ++i)
        expectFileAs(json.at("files")[i], run.files[i]);
}

void expectComesBack(const JournalRun& run)
{
    const std::optional<JournalRun> again = runOfText(textOf(run));
    expect(again.has_value(), "what was written is read");
    expect(*again == run, "what was written is read to the same");
}

void readText(const std::string& text)
{
    const std::optional<JournalRun> run = runOfText(text);
    if (!run)
        return;
    expectRunAs(Json::parse(text), *run);
    expectComesBack(*run);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    if (input.below(8) == 0)
        expectComesBack(takeRun(input));
    else
        readText(std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
