#include "HelpText.h"
#include "Pages.h"

#include <algorithm>

namespace {

constexpr char kHead[] = R"(# Completion of vellorin's commands and options for fish.

function __vellorin_command --description 'the command on the line is the one named'
    set -l words (commandline -opc)
    test (count $words) -gt 1; and test "$words[2]" = $argv[1]
end

function __vellorin_no_command
    test (count (commandline -opc)) -eq 1
end

complete -c vellorin -f
)";

std::string quoted(const std::string& text)
{
    std::string result = "'";
    for (const char c : text)
        result += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return result + "'";
}

std::string valueOf(const Option& option)
{
    if (option.value.empty())
        return "";
    switch (option.completion) {
    case Completion::Nothing: return " -x";
    case Completion::Vault:
    case Completion::AnyFile: return " -r -F";
    case Completion::Folder: break;
    }
    return " -x -a '(__fish_complete_directories)'";
}

std::string lineOf(const std::string& condition, const Option& option)
{
    return "complete -c vellorin -n " + condition + (option.letter.empty() ? "" : " -s " + option.letter.substr(1))
        + " -l " + option.name.substr(2) + valueOf(option) + " -d " + quoted(option.help) + "\n";
}

/// The shell counts no operands: files are offered if any operand is one.
std::string operandsOf(const std::string& condition, const CommandPage& page)
{
    const auto has = [&](Completion completion) {
        return std::any_of(page.operands.begin(), page.operands.end(),
            [&](const Operand& operand) { return operand.completion == completion; });
    };
    if (has(Completion::Vault) || has(Completion::AnyFile))
        return "complete -c vellorin -n " + condition + " -F\n";
    if (has(Completion::Folder))
        return "complete -c vellorin -n " + condition + " -a '(__fish_complete_directories)'\n";
    return {};
}

} // namespace

std::string fishCompletion(const std::vector<CommandPage>& pages)
{
    std::string text = kHead;
    for (const Option& option : optionsOfTheProgram())
        text += lineOf("__vellorin_no_command", option);
    for (const CommandPage& page : pages)
        text += "complete -c vellorin -n __vellorin_no_command -a " + page.name + " -d " + quoted(page.summary) + "\n";
    for (const CommandPage& page : pages) {
        const std::string condition = "'__vellorin_command " + page.name + "'";
        text += "\n" + operandsOf(condition, page);
        for (const Option& option : page.options)
            text += lineOf(condition, option);
        for (const Option& option : optionsOfEveryCommand())
            text += lineOf(condition, option);
    }
    return text;
}
