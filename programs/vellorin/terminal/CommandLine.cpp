#include "CommandLine.h"

#include "Console.h"
#include "ExitStatus.h"
#include "HelpText.h"
#include "Interruption.h"
#include "NSLog.h"
#include "VLR_Exception.h"
#include "VLR_SystemConversions.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <memory>
#include <utility>

namespace {

constexpr char kVersion[] = "vellorin " VELLORIN_VERSION "\n";
constexpr char kEndOfOptions[] = "--";

/// The words don't fit the page.
class WrongUsage : public std::exception {
public:
    explicit WrongUsage(std::string message)
        : message_(std::move(message))
    {
    }
    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

/// What the options of every command say.
struct CommonOptions {
    bool help = false;
    Console::Manner manner;
};

template <class Number>
void fillNumber(const std::string& option, const std::string& word, Number& number)
{
    const char* const wordEnd = word.data() + word.size();
    const auto [end, error] = std::from_chars(word.data(), wordEnd, number);
    if (error != std::errc() || end != wordEnd)
        throw WrongUsage(option + " needs a whole number up to " + std::to_string(std::numeric_limits<Number>::max())
            + ", not \"" + word + "\"");
}

/// Puts the words where the page wants them: none for a flag that was given, one, or several for a list.
class FillTarget {
public:
    FillTarget(const std::string& name, const std::vector<std::string>& words)
        : name_(name)
        , words_(words)
    {
    }

    void operator()(bool* flag) const { *flag = true; }
    void operator()(uint32_t* number) const { fillNumber(name_, words_.front(), *number); }
    void operator()(uint64_t* number) const { fillNumber(name_, words_.front(), *number); }
    void operator()(std::string* word) const { *word = words_.front(); }
    void operator()(std::vector<std::string>* list) const { *list = words_; }

private:
    const std::string& name_;
    const std::vector<std::string>& words_;
};

bool isFlag(const Option& option)
{
    return option.value.empty();
}

/// One command's options in the parser. Words stay strings there; operands, which the parser would read for forms of
/// its own ("[a,b]"), are what it leaves over.
class Parser {
public:
    explicit Parser(const CommandPage& page)
        : page_(page)
    {
        app_.set_help_flag();
        app_.set_config();
        app_.allow_extras();
        app_.allow_windows_style_options(false);
        for (const Option& option : page.options)
            entries_.push_back({ option, add(option), /*isCommon=*/false });
        for (const Option& option : optionsOfEveryCommand())
            entries_.push_back({ option, add(option), /*isCommon=*/true });
        app_.get_option("--quiet")->excludes(app_.get_option("--verbose"));
    }

    void parse(const std::vector<std::string>& words)
    {
        refuseWrongValues(words);
        try {
            app_.parse(std::vector<std::string>(words.rbegin(), words.rend())); // it takes them from the end
        } catch (const CLI::ArgumentMismatch& error) {
            const std::string message
                = error.what(); // the words ended behind an option: "--output: 1 required missing"
            throw WrongUsage(message.substr(0, message.find(':')) + " needs a value");
        } catch (const CLI::ParseError& error) {
            throw WrongUsage(error.what());
        }
    }

    CommonOptions commonOptions() const { return { isGiven("--help"), { isGiven("--quiet"), isGiven("--verbose") } }; }

    /// Fills the members that the page names.
    void fill() const
    {
        const std::vector<std::string> operands = operandsLeftOver();
        for (const Entry& entry : entries_) {
            if (entry.parsed->count() > 0 && !entry.isCommon)
                fillFrom(entry);
        }
        fillOperands(operands);
    }

private:
    struct Entry {
        Option option;
        CLI::Option* parsed;
        bool isCommon; // has no target
    };

    CLI::Option* add(const Option& option)
    {
        const std::string names = option.letter.empty() ? option.name : option.letter + "," + option.name;
        CLI::Option* const added = isFlag(option) ? app_.add_flag(names) : app_.add_option(names);
        return added->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    }

    static void fillFrom(const Entry& entry)
    {
        const std::vector<std::string>& words = entry.parsed->results();
        const bool mayRepeat
            = isFlag(entry.option) || std::holds_alternative<std::vector<std::string>*>(entry.option.target);
        if (words.size() > 1 && !mayRepeat)
            throw WrongUsage(entry.option.name + " is given more than once");
        std::visit(FillTarget(entry.option.name, words), entry.option.target);
    }

    bool isGiven(const char* name) const { return app_.get_option(name)->count() > 0; }

    /// For "--output=" the parser would take the next word, and it would read values of flags.
    void refuseWrongValues(const std::vector<std::string>& words) const
    {
        const auto end = std::find(words.begin(), words.end(), kEndOfOptions);
        for (const Entry& entry : entries_) {
            const std::string start = entry.option.name + "=";
            const bool takesValue = !isFlag(entry.option);
            const auto isWrong = [&](const std::string& word) {
                return takesValue ? word == start : word.compare(0, start.size(), start) == 0;
            };
            if (std::any_of(words.begin(), end, isWrong))
                throw WrongUsage(entry.option.name + (takesValue ? " needs a value" : " takes no value"));
        }
    }

    /// What isn't an option. Raises: WrongUsage for what looks like one.
    std::vector<std::string> operandsLeftOver() const
    {
        std::vector<std::string> operands;
        bool optionsEnded = false;
        for (const std::string& word : app_.remaining()) {
            if (!optionsEnded && word == kEndOfOptions)
                optionsEnded = true;
            else if (!optionsEnded && word.size() > 1 && word[0] == '-')
                throw WrongUsage("no such option: " + word);
            else
                operands.push_back(word);
        }
        return operands;
    }

    /// Each operand takes what it may while those behind it get what they need.
    void fillOperands(const std::vector<std::string>& words) const
    {
        std::size_t needed = 0;
        for (const Operand& operand : page_.operands)
            needed += operand.least;
        auto next = words.begin();
        for (const Operand& operand : page_.operands) {
            needed -= operand.least;
            const auto left = static_cast<std::size_t>(words.end() - next);
            if (left < operand.least)
                throw WrongUsage("missing " + operand.name);
            const std::size_t spare = left - std::min(left, needed);
            const std::size_t count = std::clamp<std::size_t>(spare, operand.least, operand.most);
            const std::vector<std::string> own(next, next + static_cast<std::ptrdiff_t>(count));
            if (!own.empty())
                std::visit(FillTarget(operand.name, own), operand.target);
            next += static_cast<std::ptrdiff_t>(count);
        }
        if (next != words.end())
            throw WrongUsage("one operand too many: " + *next);
    }

    const CommandPage& page_;
    CLI::App app_;
    std::vector<Entry> entries_;
};

int refuseUsage(Console& console, const std::string& message, const std::string& command)
{
    console.complain(printable(message));
    console.complain("Try " + std::string(kProgramName) + (command.empty() ? "" : " " + command) + " --help.");
    return kRefused;
}

int runCommand(Command& command, const std::vector<std::string>& words, Console& console)
{
    const CommandPage page = command.page();
    try {
        Parser parser(page);
        parser.parse(words);
        const CommonOptions common = parser.commonOptions();
        if (common.help) {
            console.data(helpOf(page));
            return kDone;
        }
        parser.fill();
        console.setManner(common.manner);
    } catch (const WrongUsage& wrong) {
        return refuseUsage(console, wrong.what(), page.name);
    }
    if (!console.manner().verbose)
        silenceLog();
    return command.run(console);
}

std::vector<CommandPage> pagesOf(const Commands& commands)
{
    std::vector<CommandPage> pages;
    pages.reserve(commands.size());
    for (const std::unique_ptr<Command>& command : commands)
        pages.push_back(command->page());
    return pages;
}

int runWords(const Commands& commands, const std::vector<std::string>& arguments, Console& console)
{
    if (arguments.empty())
        return refuseUsage(console, "name a command", "");
    const std::string& name = arguments.front();
    if (name == "--help" || name == "--version") {
        console.data(name == "--help" ? helpOfTheProgram(pagesOf(commands)) : kVersion);
        return kDone;
    }
    const auto found = std::find_if(commands.begin(), commands.end(),
        [&](const std::unique_ptr<Command>& command) { return command->page().name == name; });
    if (found == commands.end())
        return refuseUsage(console, (name[0] == '-' ? "no such option: " : "no such command: ") + name, "");
    return runCommand(**found, std::vector<std::string>(arguments.begin() + 1, arguments.end()), console);
}

/// The core's own words, or the place where it found that it can't go on.
std::string wordsOf(const VLR_Exception& exception)
{
    if (!exception.message.IsEmpty())
        return VLRToSys(exception.message);
    return VLRToSys(exception.file) + ":" + VLRToSys(exception.function) + " (code " + std::to_string(exception.code)
        + ")";
}

} // namespace

int runCommandLine(const Commands& commands, const std::vector<std::string>& arguments)
{
    Console console(kProgramName);
    try {
        return runWords(commands, arguments, console);
    } catch (const Interrupted& interruption) {
        return 128 + interruption.signal();
    } catch (const CommandFailure& failure) {
        console.complainOf(failure);
        return failure.status();
    } catch (const VLR_Exception& exception) {
        console.complain(printable(wordsOf(exception)));
    } catch (const std::exception& exception) {
        console.complainOf(exception);
    } catch (...) {
        console.complain("unknown failure");
    }
    return console.statusOfLostOutput();
}
