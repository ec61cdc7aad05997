#include "Console.h"
#include "Json.h"
#include "NSPathUtilities.h"
#include "SyncPlan.h"
#include "SyncReport.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <numeric>

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kNameColumns = 40;
constexpr std::size_t kColumns = 12;
constexpr std::size_t kPairsShown = 20; // --verbose and --json tell all

std::string row(const std::string& name, std::size_t width, const std::array<std::string, 5>& cells)
{
    std::string line = padded(name, width);
    for (const std::string& cell : cells)
        line.append(kColumns - std::min(kColumns, cell.size()), ' ').append(cell);
    return line + "\n";
}

std::string table(const SyncReport& report, const std::vector<std::string>& names)
{
    const std::size_t width
        = std::clamp<std::size_t>(std::max(columnsOf(names[0]), columnsOf(names[1])), 8, kNameColumns);
    std::string text = row("", width, { "records", "added", "removed", "now", "deletions" });
    const ReportedFile* const files[] = { &report.first, &report.second };
    for (std::size_t i = 0; i < 2; ++i)
        text += row(names[i], width,
            { grouped(files[i]->recordsBefore), grouped(files[i]->added), grouped(files[i]->removed),
                grouped(files[i]->recordsAfter), grouped(files[i]->deletionsAfter) });
    return text;
}

std::string lineOf(const KeptTwice& pair, const std::vector<std::string>& names)
{
    if (pair.sameUuid)
        return "  " + printable(pair.uuidInFirst) + ", in two categories\n";
    return "  " + printable(pair.uuidInFirst) + " (from " + names[0] + ") and " + printable(pair.uuidInSecond)
        + " (from " + names[1] + ")\n";
}

std::string keptTwice(const SyncReport& report, const std::vector<std::string>& names, std::size_t most)
{
    std::string text;
    const std::size_t shown = std::min(report.keptTwice.size(), most);
    for (std::size_t i = 0; i < shown; ++i)
        text += lineOf(report.keptTwice[i], names);
    if (shown < report.keptTwice.size())
        text += "  and " + counted(report.keptTwice.size() - shown, "more", "more") + "; --verbose tells all\n";
    return text;
}

std::string backupsOf(const SyncReport& report)
{
    std::string text;
    for (const ReportedFile* const file : { &report.first, &report.second }) {
        if (!file->backup.empty())
            text += (text.empty() ? "Backups: " : ", ") + printable(lastPathComponent(file->backup));
    }
    return text.empty() ? text : text + "\n";
}

const char* nameOf(SyncReport::Outcome outcome)
{
    switch (outcome) {
    case SyncReport::Outcome::InStep: return "in-step";
    case SyncReport::Outcome::Planned: return "planned";
    case SyncReport::Outcome::Done: return "done";
    }
    return "";
}

Json jsonOf(const ReportedFile& file)
{
    return { { "path", jsonText(file.path) }, { "written", file.written }, { "recordsBefore", file.recordsBefore },
        { "recordsAfter", file.recordsAfter }, { "added", file.added }, { "removed", file.removed },
        { "deletionsAfter", file.deletionsAfter },
        { "backup", file.backup.empty() ? Json(nullptr) : jsonText(file.backup) } };
}

} // namespace

void printReport(const SyncReport& report, Console& console)
{
    if (console.manner().quiet)
        return;
    const std::vector<std::string> names = shortNames({ report.first.path, report.second.path });
    if (report.outcome == SyncReport::Outcome::InStep) {
        console.data(names[0] + " and " + names[1] + ": " + console.good("already in step") + "\n");
        return;
    }
    std::string text = table(report, names);
    for (const std::string& sentence : report.sentences)
        text += sentence + ".\n";
    if (!report.keptTwice.empty())
        text += console.warning("Kept twice; look at them:") + "\n";
    text += keptTwice(report, names, console.manner().verbose ? SIZE_MAX : kPairsShown);
    console.data(text + backupsOf(report));
}

nlohmann::ordered_json jsonOf(const Objection& objection)
{
    return { { "guard", nameOf(objection.kind) }, { "message", jsonText(objection.message) },
        { "option", optionFor(objection.kind) } };
}

nlohmann::ordered_json jsonOf(const SyncReport& report)
{
    Json twice = Json::array();
    for (const KeptTwice& pair : report.keptTwice)
        twice.push_back(
            { { "uuidInFirst", jsonText(pair.uuidInFirst) }, { "uuidInSecond", jsonText(pair.uuidInSecond) },
                { "category", jsonText(pair.category) }, { "sameUuid", pair.sameUuid } });
    Json objections = Json::array();
    for (const Objection& objection : report.objections)
        objections.push_back(jsonOf(objection));
    return { { "outcome", nameOf(report.outcome) },
        { "run", report.runId.empty() ? Json(nullptr) : Json(report.runId) },
        { "files", Json::array({ jsonOf(report.first), jsonOf(report.second) }) }, { "sentences", report.sentences },
        { "keptTwice", twice }, { "objections", objections },
        { "counters", { { "identical", report.identical }, { "duplicated", report.duplicated } } },
        { "attempts", report.attempts } };
}
