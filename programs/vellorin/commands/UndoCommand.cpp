#include "AllCommands.h"
#include "Console.h"
#include "Journal.h"
#include "Json.h"
#include "Undo.h"

#include <nlohmann/json.hpp>

namespace {

class UndoCommand final : public Command {
public:
    CommandPage page() override
    {
        return { "undo", "take back the last synchronisation",
            { { "FILE", "files that took part in it; without any, the last run of all is taken back", &paths, 0,
                CommandPage::kAny } },
            {
                { "--dry-run", "", "", "tell what would be done, and do nothing", &options.dryRun },
                { "--json", "", "", "report as JSON", &json },
            },
            {
                "All files of the run get back the bytes that they had before it, from their numbered backups and as "
                "one unit. That is done only while nobody has changed any of them since: otherwise the change would "
                "be lost.",
                "Of a run of resolve the vault alone is taken back: the copy that was merged stays in the trash.",
                "A further call takes back the run before.",
            },
            { { "vellorin undo", "take back the last run" }, { "vellorin undo --dry-run ~/vault.vlr", "ask first" } } };
    }

    int run(Console& console) override
    {
        options.confines = true;
        Journal journal;
        const UndoReport report = undo(paths, options, journal, console);
        if (report.isDone)
            console.workIsDone();
        if (json) {
            nlohmann::ordered_json document = jsonDocument("undo");
            document.update(jsonOf(report));
            printJson(console, document);
        } else
            printReport(report, console);
        return kDone;
    }

private:
    std::vector<std::string> paths;
    UndoOptions options;
    bool json = false;
};

} // namespace

std::unique_ptr<Command> undoCommand()
{
    return std::make_unique<UndoCommand>();
}
