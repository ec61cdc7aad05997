#include "HelpText.h"
#include "Pages.h"

namespace {

std::string actionOf(Completion completion)
{
    switch (completion) {
    case Completion::Nothing: return " ";
    case Completion::Vault:
    case Completion::AnyFile: return "_files";
    case Completion::Folder: break;
    }
    return "_files -/";
}

/// Between single quotes, in an argument whose fields are told apart by brackets and colons.
std::string escaped(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        if (c == '\'')
            result += "'\\''";
        else if (c == '[' || c == ']' || c == ':' || c == '\\')
            result += std::string("\\") + c;
        else
            result += c;
    }
    return result;
}

std::string specificationOf(const Option& option)
{
    const bool mayRepeat = std::holds_alternative<std::vector<std::string>*>(option.target);
    std::string rest = "[";
    rest += escaped(option.help) + "]";
    if (!option.value.empty())
        rest.append(":").append(escaped(option.value)).append(":").append(actionOf(option.completion));
    rest += "'";
    const std::string letter = option.letter.empty() ? "" : option.letter + " ";
    const std::string exclusion = mayRepeat ? "*" : "(" + letter + option.name + ")";
    // A letter's value may stand in the same word, a name's behind an equals sign too.
    std::string result;
    if (!option.letter.empty())
        result += "            '" + exclusion + option.letter + (option.value.empty() ? "" : "+") + rest + " \\\n";
    return result + "            '" + exclusion + option.name + (option.value.empty() ? "" : "=") + rest + " \\\n";
}

std::string specificationOf(const Operand& operand, std::size_t place)
{
    std::string text = "            '";
    text += operand.most > 1 ? "*" : std::to_string(place);
    text.append(":").append(escaped(operand.name)).append(":").append(actionOf(operand.completion));
    return text + "'";
}

std::string caseOf(const CommandPage& page)
{
    std::string text = "        " + page.name + ")\n            _arguments -s -S \\\n";
    for (const Option& option : page.options)
        text += specificationOf(option);
    for (const Option& option : optionsOfEveryCommand())
        text += specificationOf(option);
    for (std::size_t i = 0; i < page.operands.size(); ++i)
        text += specificationOf(page.operands[i], i + 1) + " \\\n";
    text.erase(text.size() - 3);
    return text + "\n            ;;\n";
}

} // namespace

std::string zshCompletion(const std::vector<CommandPage>& pages)
{
    std::string text = "#compdef vellorin\n# Completion of vellorin's commands and options for zsh.\n\n_vellorin() {\n"
                       "    local context state state_descr line\n    typeset -A opt_args\n"
                       "    local -a commands=(\n";
    for (const CommandPage& page : pages)
        text += "        '" + page.name + ":" + escaped(page.summary) + "'\n";
    text += "    )\n    _arguments -C \\\n";
    for (const Option& option : optionsOfTheProgram())
        text += "        '(- *)" + option.name + "[" + escaped(option.help) + "]' \\\n";
    text += "        '1: :->command' \\\n        '*:: :->rest'\n    case $state in\n"
            "    command) _describe 'command' commands ;;\n    rest)\n        case $line[1] in\n";
    for (const CommandPage& page : pages)
        text += caseOf(page);
    return text + "        esac\n        ;;\n    esac\n}\n\n_vellorin \"$@\"\n";
}
