#include "AllCommands.h"
#include "Console.h"
#include "ExitStatus.h"
#include "Explanation.h"
#include "Json.h"

#include <nlohmann/json.hpp>

namespace {

class ExplainCommand final : public Command {
public:
    CommandPage page() override
    {
        return { "explain", "tell which run brought, removed or doubled a record",
            {
                { "FILE", "a vault", &path },
                { "UUID", "the record's identity, or as much of its beginning as no other has", &uuid, 1, 1,
                    Completion::Nothing },
            },
            { { "--json", "", "", "answer as JSON", &json } },
            { "Looks the record up in the journal of what was synchronised on this machine, and in the file as it is "
              "now." },
            { { "vellorin explain ~/vault.vlr 5A3B1E00", "what has become of this record" } } };
    }

    int run(Console& console) override
    {
        const Explanation explanation = explain(path, uuid, Journal());
        if (json) {
            nlohmann::ordered_json document = jsonDocument("explain");
            document.update(jsonOf(explanation));
            printJson(console, document);
        } else
            print(explanation, console);
        return kDone;
    }

private:
    std::string path;
    std::string uuid;
    bool json = false;
};

} // namespace

std::unique_ptr<Command> explainCommand()
{
    return std::make_unique<ExplainCommand>();
}
