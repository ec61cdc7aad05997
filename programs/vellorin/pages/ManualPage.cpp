#include "HelpText.h"
#include "Pages.h"

#include <string_view>

namespace {

constexpr char kHead[] = R"(.Dd November 21, 2026
.Dt VELLORIN 1
.Os
.Sh NAME
.Nm vellorin
.Nd )";

constexpr char kDescription[] = R"(.Sh DESCRIPTION
.Nm
does with encrypted password vaults whatever can be done without their master passwords.
Nothing is deciphered and no password is asked for: records are told apart by their identities, which stand in the
clear, and their enciphered bodies travel unchanged.
.Pp
Data is written to standard output, everything else to standard error.
What comes out of files and paths is shown with escapes, as in
.Li \ex1b ,
where it could steer the terminal or disguise a name.
Colour and a line that tells the progress of long work appear on terminals alone, and questions are asked only where
standard input and standard error are terminals.
)";

constexpr char kCommonOptions[] = R"(.Ss Options of every command
Options may stand anywhere behind the command's name.
A
.Fl -
ends them, so that a name may begin with a hyphen.
)";

constexpr char kTail[] = R"(.Sh ENVIRONMENT
.Bl -tag -width XDG_STATE_HOME
.It Ev DBUS_SESSION_BUS_ADDRESS
The session bus, on which a running application is asked to let go of a vault.
.It Ev HOME
The user's folder.
.It Ev NO_COLOR
If it is set and not empty, there is no colour.
.It Ev TERM
For
.Dq dumb
there is neither colour nor progress.
.It Ev XDG_DATA_HOME
Where the trash is, instead of
.Pa ~/.local/share .
.It Ev XDG_STATE_HOME
Where the journal is, instead of
.Pa ~/.local/state .
.El
.Sh FILES
.Bl -tag -width Ds
.It Pa ~/.local/state/vellorin/journal
What was synchronised when: one small file for each run, readable by its owner alone.
It holds paths, identities and hashes, and no secret.
.It Pa .NAME
The write lock of the vault
.Pa NAME ,
a folder beside it.
The file
.Pa holder
in it tells who holds the lock.
.It Pa NAME backup N.EXT
A numbered backup of the vault
.Pa NAME.EXT .
.El
.Sh EXIT STATUS
.Bl -tag -width Ds
.It 0
Done.
.It 1
Done, and there is something to look at: records that were kept twice, damage, a conflict, a difference.
.It 2
Wrong usage, or refused before anything was changed.
.It 3
Failed, and nothing was written.
.It 4
Failed, and one file was written while another was not.
.El
.Pp
Output that can't be written is a failure too; with 1 if the files were written before.
.Sh SIGNALS
At
.Dv SIGINT ,
.Dv SIGTERM
and
.Dv SIGHUP
a command gives back its locks, removes its temporary files and ends by the same signal, which a shell shows as 128 and
the signal's number.
Each file is then the old one or the new one, whole.
A reader of standard output that has gone ends a command in the same way by
.Dv SIGPIPE .
.Sh SEE ALSO
.Xr vellorin-sync 1
)";

/// A word as it is in any place of the page.
std::string escaped(std::string_view text)
{
    std::string result;
    bool isOption = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool startsWord = i == 0 || text[i - 1] == ' ' || text[i - 1] == '(' || text[i - 1] == '"';
        if (startsWord)
            isOption = text[i] == '-';
        if (text[i] == '\\')
            result += "\\e";
        else if (text[i] == '-' && isOption)
            result += "\\-"; // a sign that can be copied into a shell
        else
            result += text[i];
    }
    return result;
}

/// A line of text that is taken for no request.
std::string line(std::string_view text)
{
    const bool looksLikeRequest = !text.empty() && (text[0] == '.' || text[0] == '\'');
    return (looksLikeRequest ? "\\&" : "") + escaped(text) + "\n";
}

/// Each sentence begins a line.
std::string paragraph(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        std::size_t end = text.find(". ");
        while (end != std::string_view::npos && end + 2 < text.size() && text[end + 2] >= 'a' && text[end + 2] <= 'z')
            end = text.find(". ", end + 1); // as in "e.g. this"
        result += line(text.substr(0, end == std::string_view::npos ? end : end + 1));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
    }
    return result;
}

std::string sentence(std::string text)
{
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z')
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return paragraph(text + ".");
}

/// An operand's name behind a macro; one like "%A" would be a macro itself.
std::string argument(const std::string& name)
{
    return "Ar " + std::string(name[0] == '%' ? "\\&" : "") + name;
}

std::string argumentsOf(const Operand& operand)
{
    return "." + argument(operand.name) + (operand.most > 1 ? " ..." : "");
}

std::string synopsisOf(const CommandPage& page)
{
    std::string result = ".Cm " + page.name + "\n.Op Ar option ...\n";
    for (const Operand& operand : page.operands)
        result += operand.least == 0 ? ".Op " + argumentsOf(operand).substr(1) + "\n" : argumentsOf(operand) + "\n";
    return result;
}

std::string itemOf(const Option& option)
{
    std::string head = ".It ";
    if (!option.letter.empty())
        head += "Fl " + option.letter.substr(1) + " , ";
    head += "Fl " + option.name.substr(1);
    if (!option.value.empty())
        head += " " + argument(option.value);
    return head + "\n" + sentence(option.help);
}

std::string listOf(const std::vector<Operand>& operands, const std::vector<Option>& options)
{
    if (operands.empty() && options.empty())
        return {};
    std::string result = ".Bl -tag -width Ds\n";
    for (const Operand& operand : operands)
        result += ".It " + argument(operand.name) + "\n" + sentence(operand.help);
    for (const Option& option : options)
        result += itemOf(option);
    return result + ".El\n";
}

std::string examplesOf(const CommandPage& page)
{
    std::string result;
    for (const Example& example : page.examples)
        result += ".Pp\n" + sentence(example.meaning) + ".Bd -literal -offset indent\n" + line("$ " + example.line)
            + ".Ed\n";
    return result;
}

std::string sectionOf(const CommandPage& page)
{
    std::string section = ".Ss " + page.name + "\n.Nm\n" + synopsisOf(page) + ".Pp\n" + sentence(page.summary);
    for (const std::string& text : page.description)
        section += ".Pp\n" + paragraph(text);
    return section + listOf(page.operands, page.options);
}

} // namespace

std::string manualPage(const std::vector<CommandPage>& pages)
{
    std::string text = kHead + escaped(kProgramSummary) + "\n.Sh SYNOPSIS\n";
    for (const CommandPage& page : pages)
        text += ".Nm\n" + synopsisOf(page);
    text += ".Nm\n.Fl -help | -version\n";
    text += kDescription;
    text += kCommonOptions + listOf({}, optionsOfEveryCommand()) + ".Ss Options without a command\n"
        + listOf({}, optionsOfTheProgram()) + ".Sh COMMANDS\n";
    for (const CommandPage& page : pages)
        text += sectionOf(page) + examplesOf(page);
    return text + kTail;
}
