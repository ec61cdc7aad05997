#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

/// What completions offer for an operand or an option's value.
enum class Completion {
    Nothing,
    Vault,
    AnyFile,
    Folder
};

/// Where the words of the command line go. Which form an option has follows from it: a flag has no value, a list takes
/// several values or may be given several times.
using Target = std::variant<bool*, uint32_t*, uint64_t*, std::string*, std::vector<std::string>*>;

struct Option {
    std::string name; // "--keep-backups"
    std::string letter; // "-q", or empty
    std::string value; // what stands for the value in texts: "N"; empty for a flag
    std::string help; // one sentence in lower case, without a full stop; the default in brackets where there is one
    Target target;
    Completion completion = Completion::Nothing;
};

struct Operand {
    std::string name; // "FILE"
    std::string help;
    Target target; // one word, or a list
    uint32_t least = 1;
    uint32_t most = 1;
    Completion completion = Completion::Vault;
};

struct Example {
    std::string line; // as typed into a shell
    std::string meaning;
};

/// All that is told of a command anywhere.
struct CommandPage {
    static constexpr uint32_t kAny = UINT32_MAX; // of operands

    std::string name;
    std::string summary; // one line in lower case: "tell what vaults hold"
    std::vector<Operand> operands;
    std::vector<Option> options; // beside those that every command has: --help, -q, -v
    std::vector<std::string> description; // paragraphs of plain text, for the manual page
    std::vector<Example> examples; // at least one; the first stands in --help
};
