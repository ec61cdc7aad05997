#include "AllCommands.h"

#include "Console.h"
#include "ExitStatus.h"
#include "Git.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

constexpr char kAttributes[] = " merge=vellorin diff=vellorin -text";

/// The path of this program as a word of a shell line in which git takes a percent sign for its own.
std::string quotedProgram()
{
    std::string quoted = "'";
    for (const char c : std::filesystem::read_symlink("/proc/self/exe").string()) {
        if (c == '\'')
            quoted += "'\\''";
        else if (c == '%')
            quoted += "%%";
        else
            quoted += c;
    }
    return quoted + "'";
}

/// As the first word of a line of git's attributes.
std::string quotedPattern(const std::string& pattern)
{
    const bool isPlain = pattern.find_first_of(" \t\"\\") == std::string::npos && pattern[0] != '#';
    if (isPlain)
        return pattern;
    std::string quoted = "\"";
    for (const char c : pattern) {
        if (c == '"' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

bool hasLine(const std::string& content, const std::string& wanted)
{
    std::istringstream lines(content);
    for (std::string line; std::getline(lines, line);) {
        if (line == wanted)
            return true;
    }
    return false;
}

class GitSetupCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page;
        page.name = "git-setup";
        page.summary = "tell git to merge vaults with this program";
        page.options = { { "--global", "", "", "for all repositories of this user", &global_ },
            { "--pattern", "", "PATTERN", "the names of vaults [*.vlr]", &pattern_, Completion::Nothing } };
        page.description = {
            "Sets git's merge driver \"vellorin\" to this program's merge-driver command, and its converter for diffs, "
            "so that \"git diff\" and \"git log -p\" list the records of a vault instead of \"binary files differ\". "
            "With --global it does so for all of the user's repositories, else for the one around the present folder.",
            "In a repository it adds a line to .gitattributes which says that vaults are merged and shown so, and that "
            "their bytes are never converted like lines of text; once. Commit that file: the configuration itself is "
            "not part of the repository, so everybody who merges runs this command once.",
        };
        page.examples = { { "vellorin git-setup", "in the repository that holds vaults" },
            { "vellorin git-setup --global --pattern '*.vault'", "for all repositories, and vaults of other names" } };
        return page;
    }

    int run(Console& console) override
    {
        checkPattern();
        const GitResult folder = runGit({ "rev-parse", "--show-toplevel" }, /*muted=*/global_);
        const bool isInRepository = folder.status == 0 && !folder.output.empty();
        if (!isInRepository && !global_)
            throw CommandFailure(
                kRefused, "here is no git repository with files, and nothing was set (--global does without)");
        configure("merge.vellorin.name", "encrypted vaults, merged record by record", console);
        configure("merge.vellorin.driver", quotedProgram() + " merge-driver -- %O %A %B %P", console);
        configure("diff.vellorin.textconv", quotedForTextconv(), console);
        if (isInRepository)
            addAttributes(folder.output + "/.gitattributes", console);
        else
            console.say("add this line to .gitattributes in repositories with vaults: " + printable(line()));
        return kDone;
    }

private:
    std::string line() const { return quotedPattern(pattern_) + kAttributes; }

    void checkPattern() const
    {
        const bool isSound = !pattern_.empty() && pattern_[0] != '!' && !pattern_.starts_with("[attr]")
            && pattern_.find_first_of(std::string("\n\r\0", 3)) == std::string::npos;
        if (!isSound)
            throw CommandFailure(kRefused, "git can't have this pattern in its attributes: " + pattern_);
    }

    /// Percent signs mean nothing there.
    static std::string quotedForTextconv()
    {
        std::string program = quotedProgram();
        for (std::size_t at = program.find("%%"); at != std::string::npos; at = program.find("%%", at + 1))
            program.erase(at, 1);
        return program + " info --content --records --";
    }

    void configure(const std::string& name, const std::string& value, Console& console) const
    {
        std::vector<std::string> words { "config" };
        if (global_)
            words.emplace_back("--global");
        words.insert(words.end(), { name, value });
        const GitResult result = runGit(words);
        if (result.status != 0)
            throw CommandFailure(
                kFailed, "git could not set " + name + " (its exit status is " + std::to_string(result.status) + ")");
        console.say("git " + std::string(global_ ? "(of this user): " : "(of this repository): ") + name + " = "
            + printable(value));
    }

    void addAttributes(const std::string& path, Console& console) const
    {
        const std::string before = contentOf(path);
        if (hasLine(before, line())) {
            console.say(printable(path) + ": has the line " + printable(line()));
            return;
        }
        std::ofstream file(path, std::ios::binary | std::ios::app);
        file << (before.empty() || before.ends_with('\n') ? "" : "\n") << line() << '\n' << std::flush;
        if (!file)
            throw CommandFailure(kFailed, path + ": can't be written, but git's configuration is set");
        console.say(printable(path) + ": added the line " + printable(line()));
    }

    bool global_ = false;
    std::string pattern_ = "*.vlr";
};

} // namespace

std::unique_ptr<Command> gitSetupCommand()
{
    return std::make_unique<GitSetupCommand>();
}
