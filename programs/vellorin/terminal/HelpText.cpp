#include "HelpText.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kMargin = 2;
constexpr std::size_t kWidestTerm = 26; // a wider one has its meaning on the next line

struct Term {
    std::string form;
    std::string meaning;
};

std::string asSentence(std::string text)
{
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z')
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text + ".";
}

/// Forms on the left, meanings beside them; an empty line behind.
std::string listOf(const std::vector<Term>& terms)
{
    std::size_t widest = 0;
    for (const Term& term : terms) {
        if (term.form.size() <= kWidestTerm)
            widest = std::max(widest, term.form.size());
    }
    const std::size_t column = kMargin + widest + 2;
    std::string result;
    for (const Term& term : terms) {
        const std::string start = std::string(kMargin, ' ') + term.form;
        result += start;
        result
            += start.size() + 2 <= column ? std::string(column - start.size(), ' ') : "\n" + std::string(column, ' ');
        result += wrapped(term.meaning, kWidth - column, column) + "\n";
    }
    return terms.empty() ? result : result + "\n";
}

std::vector<Term> termsOf(const std::vector<Option>& options)
{
    std::vector<Term> terms;
    terms.reserve(options.size());
    for (const Option& option : options)
        terms.push_back({ formOf(option), option.help });
    return terms;
}

std::vector<Term> termsOf(const std::vector<Operand>& operands)
{
    std::vector<Term> terms;
    terms.reserve(operands.size());
    for (const Operand& operand : operands)
        terms.push_back({ operand.name, operand.help });
    return terms;
}

std::vector<Term> termsOf(const std::vector<CommandPage>& pages)
{
    std::vector<Term> terms;
    terms.reserve(pages.size());
    for (const CommandPage& page : pages)
        terms.push_back({ page.name, page.summary });
    return terms;
}

std::string usageOf(const CommandPage& page)
{
    std::string usage = "usage: " + std::string(kProgramName) + " " + page.name;
    const std::size_t indent = usage.size() + 1;
    usage += " [OPTION...]";
    for (const Operand& operand : page.operands)
        usage += " " + formOf(operand);
    return wrapped(usage, kWidth - indent, indent) + "\n\n";
}

Option flag(std::string name, std::string letter, std::string help)
{
    Option option;
    option.name = std::move(name);
    option.letter = std::move(letter);
    option.help = std::move(help);
    return option;
}

} // namespace

std::vector<Option> optionsOfEveryCommand()
{
    return { flag("--quiet", "-q", "write nothing to standard error but failures"),
        flag("--verbose", "-v", "tell on standard error how it is done as well"),
        flag("--help", "", "write this text to standard output and exit") };
}

std::vector<Option> optionsOfTheProgram()
{
    return { flag("--help", "", "write this text to standard output and exit"),
        flag("--version", "", "write the version to standard output and exit") };
}

std::string formOf(const Option& option)
{
    const std::string letter = option.letter.empty() ? "" : option.letter + ", ";
    return letter + option.name + (option.value.empty() ? "" : " " + option.value);
}

std::string formOf(const Operand& operand)
{
    const std::string form = operand.name + (operand.most > 1 ? "..." : "");
    return operand.least == 0 ? "[" + form + "]" : form;
}

std::string helpOf(const CommandPage& page)
{
    std::vector<Option> options = page.options;
    for (Option& option : optionsOfEveryCommand())
        options.push_back(std::move(option));
    std::string help = usageOf(page) + wrapped(asSentence(page.summary), kWidth, 0) + "\n\n";
    help += listOf(termsOf(page.operands)) + listOf(termsOf(options));
    const Example& example = page.examples.front();
    return help + "example: " + example.line + "\n" + std::string(kMargin, ' ')
        + wrapped(example.meaning, kWidth - kMargin, kMargin) + "\n";
}

std::string helpOfTheProgram(const std::vector<CommandPage>& pages)
{
    const std::string name = kProgramName;
    return "usage: " + name + " COMMAND [OPTION...] [OPERAND...]\n       " + name + " COMMAND --help\n\n"
        + wrapped(asSentence(kProgramSummary), kWidth, 0) + "\n\n" + listOf(termsOf(pages))
        + listOf(termsOf(optionsOfTheProgram())) + "example: " + name + " sync ~/vault.vlr /media/stick/vault.vlr\n";
}

std::string wrapped(std::string_view text, std::size_t width, std::size_t indent)
{
    std::string result;
    std::size_t column = 0;
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(text.size(), word.size() + 1));
        if (column > 0 && column + 1 + word.size() > width) {
            result += "\n" + std::string(indent, ' ');
            column = 0;
        } else if (column > 0) {
            result += ' ';
            ++column;
        }
        result += word;
        column += word.size();
    }
    return result;
}
