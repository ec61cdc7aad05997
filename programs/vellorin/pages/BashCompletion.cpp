#include "HelpText.h"
#include "Pages.h"

namespace {

// The functions that read the tables. They work with bash alone; file names are quoted by bash itself.
constexpr char kFunctions[] = R"(
# Kind of what stands for $2, an option's value, in the command $1: file, folder, none; empty for a flag.
_vellorin_value() {
    local entry
    for entry in ${_vellorin_values[$1]}; do
        if [[ ${entry%%:*} == "$2" ]]; then
            printf '%s' "${entry#*:}"
            return
        fi
    done
}

_vellorin_offer() { # KIND WORD
    compopt -o filenames 2>/dev/null
    case $1 in
    file) mapfile -t COMPREPLY < <(compgen -f -- "$2") ;;
    folder) mapfile -t COMPREPLY < <(compgen -d -- "$2") ;;
    *) COMPREPLY=() ;;
    esac
}

_vellorin() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W "$_vellorin_commands --help --version" -- "$current")
        return
    fi
    [[ -v _vellorin_options[$command] ]] || return

    # What was given so far: the number of operands, and whether options have ended.
    local -i place operands=0 ended=0
    local word
    for ((place = 2; place < COMP_CWORD; ++place)); do
        word=${COMP_WORDS[place]}
        if ((!ended)) && [[ $word == -- ]]; then
            ended=1
        elif ((!ended)) && [[ $word == -?* ]]; then
            if [[ ${COMP_WORDS[place + 1]} == = ]]; then
                ((place += 2))
            elif [[ -n $(_vellorin_value "$command" "$word") ]]; then
                ((++place))
            fi
        else
            ((++operands))
        fi
    done

    if ((!ended)); then
        # "--output=x" comes as three words.
        if [[ $current == = ]]; then
            current=
        elif [[ $previous == = ]]; then
            previous=${COMP_WORDS[COMP_CWORD - 2]}
        fi
        local kind
        kind=$(_vellorin_value "$command" "$previous")
        if [[ -n $kind ]]; then
            _vellorin_offer "$kind" "$current"
            return
        fi
        if [[ $current == -* ]]; then
            mapfile -t COMPREPLY < <(compgen -W "${_vellorin_options[$command]}" -- "$current")
            return
        fi
    fi

    local -a kinds
    read -ra kinds <<<"${_vellorin_operands[$command]}"
    local wanted=${kinds[operands]}
    if [[ -z $wanted && ${kinds[-1]} == *+ ]]; then
        wanted=${kinds[-1]}
    fi
    _vellorin_offer "${wanted%+}" "$current"
}

complete -F _vellorin vellorin
)";

std::string kindOf(Completion completion)
{
    switch (completion) {
    case Completion::Nothing: return "none";
    case Completion::Vault:
    case Completion::AnyFile: return "file";
    case Completion::Folder: break;
    }
    return "folder";
}

std::vector<Option> optionsOf(const CommandPage& page)
{
    std::vector<Option> options = page.options;
    for (const Option& option : optionsOfEveryCommand())
        options.push_back(option);
    return options;
}

/// One row of a table: all words of the entry in one string.
std::string row(const std::string& command, const std::vector<std::string>& words)
{
    std::string joined;
    for (const std::string& word : words)
        joined += (joined.empty() ? "" : " ") + word;
    return "    [" + command + "]=\"" + joined + "\"\n";
}

std::string optionsRow(const CommandPage& page)
{
    std::vector<std::string> words;
    for (const Option& option : optionsOf(page)) {
        if (!option.letter.empty())
            words.push_back(option.letter);
        words.push_back(option.name);
    }
    return row(page.name, words);
}

std::string valuesRow(const CommandPage& page)
{
    std::vector<std::string> words;
    for (const Option& option : page.options) {
        if (option.value.empty())
            continue;
        if (!option.letter.empty())
            words.push_back(option.letter + ":" + kindOf(option.completion));
        words.push_back(option.name + ":" + kindOf(option.completion));
    }
    return row(page.name, words);
}

/// The kind of each operand; a plus behind the last that takes any number.
std::string operandsRow(const CommandPage& page)
{
    std::vector<std::string> words;
    for (const Operand& operand : page.operands) {
        const uint32_t shown = operand.most == CommandPage::kAny ? 1 : operand.most;
        words.insert(words.end(), shown, kindOf(operand.completion) + (operand.most == CommandPage::kAny ? "+" : ""));
    }
    return row(page.name, words);
}

template <class Row>
std::string table(const std::string& name, const std::vector<CommandPage>& pages, const Row& rowOf)
{
    std::string text = "declare -gA _vellorin_" + name + "=(\n";
    for (const CommandPage& page : pages)
        text += rowOf(page);
    return text + ")\n";
}

} // namespace

std::string bashCompletion(const std::vector<CommandPage>& pages)
{
    std::string names;
    for (const CommandPage& page : pages)
        names += (names.empty() ? "" : " ") + page.name;
    return "# Completion of vellorin's commands and options for bash.\n\n_vellorin_commands=\"" + names + "\"\n"
        + table("options", pages, optionsRow) + table("values", pages, valuesRow)
        + table("operands", pages, operandsRow) + kFunctions;
}
