#include "AllCommands.h"

#include "Console.h"
#include "CopiesWatch.h"
#include "ExtraStringUtilities.h"
#include "FilePaths.h"
#include "Journal.h"
#include "NSFileManager.h"
#include "SafetyOptions.h"
#include "WatchLoop.h"

#include <charconv>
#include <chrono>
#include <cstdlib>
#include <set>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr double kLongestOption = 86'400; // seconds

/// True if what goes to standard error gets its time from the system's journal.
bool isJournalOnStandardError()
{
    const char* const stream = std::getenv("JOURNAL_STREAM");
    struct stat status { };
    return stream != nullptr && ::fstat(STDERR_FILENO, &status) == 0
        && stream == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

WatchSchedule::Time now()
{
    return std::chrono::duration_cast<WatchSchedule::Time>(std::chrono::steady_clock::now().time_since_epoch());
}

/// Raises: CommandFailure (kRefused).
WatchSchedule::Time secondsOf(const std::string& option, const std::string& word)
{
    double seconds = -1;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), seconds);
    if (error != std::errc() || end != word.data() + word.size() || !(seconds >= 0) || seconds > kLongestOption)
        throw CommandFailure(kRefused, option + " takes seconds, at most a day: " + word);
    return std::chrono::duration_cast<WatchSchedule::Time>(std::chrono::duration<double>(seconds));
}

/// One path a line; a "~" at its front is the home folder. Empty lines and those that begin with "#" are none.
/// Raises: CommandFailure (kRefused).
std::vector<std::string> pathsOfList(const std::string& list)
{
    LinuxFileManager files;
    const std::optional<NSData> bytes = files.dataWithContentsOfFile(list);
    if (!bytes)
        throw CommandFailure(kRefused, list + ": the list can't be read");
    std::istringstream text(std::string(reinterpret_cast<const char*>(bytes->bytes()), bytes->length()));
    std::vector<std::string> paths;
    for (std::string line; std::getline(text, line);) {
        if (line.ends_with('\r'))
            line.pop_back();
        if (!line.empty() && line[0] != '#')
            paths.push_back(ExtraStringUtilities::stringByExpandingTildeInPath(line));
    }
    return paths;
}

class WatchCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page;
        page.name = "watch";
        page.summary = "synchronise copies of a vault whenever one of them changed";
        page.operands = { { "FILE", "a copy of the vault", &paths_, 0, CommandPage::kAny } };
        page.options = {
            { "--from", "", "LIST", "watch the files of a list too: one path a line", &list_, Completion::AnyFile },
            { "--settle", "", "SECONDS", "how long nothing must happen to the files first [2]", &settle_ },
            { "--rescan", "", "SECONDS", "how often the files are looked at in any case [60]", &rescan_ },
            { "--once", "", "", "synchronise once, as sync does, and end", &once_ },
            { "--json", "", "", "write a JSON object for each synchronisation that wrote or met with trouble", &json_ },
        };
        const std::vector<Option> safety = safety_.options();
        page.options.insert(page.options.end(), safety.begin(), safety.end());
        page.description = {
            "Synchronises the files at the start, and from then on when one of them changed and came to rest, until a "
            "signal ends the program. Several copies are synchronised as sync does it.",
            "The folders of the files are watched, since most programs replace a file by renaming. Links are "
            "followed. All files are looked at from time to time in any case: network volumes tell nothing, and a "
            "system may run out of watches.",
            "A file that isn't there is left out until it is; two of them must be there. What can't be done is said "
            "once, and tried again when a file changes, and after pauses that grow to an hour. Nobody is ever asked: "
            "what a guard refuses stays as it is until it is settled by hand.",
            "The lines on standard error begin with the time, unless they go to the system's journal. To watch from "
            "login on, write the paths into ~/.config/vellorin/watch/NAME and run: systemctl --user enable --now "
            "vellorin-watch@NAME",
        };
        page.examples = {
            { "vellorin watch ~/vault.vlr ~/Nextcloud/vault.vlr",
                "keep a local copy and one in a cloud folder in step" },
            { "vellorin watch --once --from ~/.config/vellorin/watch/home",
                "a night job: those copies that are there" },
        };
        return page;
    }

    int run(Console& console) override;

private:
    std::vector<std::string> allPaths() const;
    int runOnce(const std::vector<std::string>& paths, CopiesWatch& copies, Console& console);

    std::vector<std::string> paths_;
    std::string list_;
    std::string settle_ = "2";
    std::string rescan_ = "60";
    bool once_ = false;
    bool json_ = false;
    SafetyOptions safety_;
};

int WatchCommand::run(Console& console)
{
    const SyncOptions options = safety_.syncOptions("watch");
    const WatchSchedule::Times times { secondsOf("--settle", settle_), secondsOf("--rescan", rescan_) };
    const std::vector<std::string> paths = allPaths();
    Console::Manner manner = console.manner();
    manner.timed = !isJournalOnStandardError();
    manner.asks = false;
    console.setManner(manner);
    Journal journal;
    CopiesWatch copies(options, { json_, /*inAnyCase=*/once_ }, journal, console);
    if (once_)
        return runOnce(paths, copies, console);
    for (const std::string& path : paths)
        console.say(printable(path) + ": watched");
    InotifyEvents events(paths);
    WatchLoop loop(paths, times,
        { events, now, stampOf, [&](const std::vector<std::string>& present) { return copies.synchronise(present); },
            [&](const std::string& text) { console.say(text); },
            [&](const std::string& text) { console.complain(text); } });
    loop.run();
}

/// Raises: CommandFailure (kRefused) for fewer than two, and for one file twice.
std::vector<std::string> WatchCommand::allPaths() const
{
    std::vector<std::string> paths = paths_;
    if (!list_.empty()) {
        const std::vector<std::string> listed = pathsOfList(list_);
        paths.insert(paths.end(), listed.begin(), listed.end());
    }
    if (paths.size() < 2)
        throw CommandFailure(kRefused, "two files or more are needed");
    std::set<std::string> known;
    for (const std::string& path : paths) {
        if (!known.insert(canonicalPath(path)).second)
            throw CommandFailure(kRefused, path + ": is one file twice");
    }
    return paths;
}

int WatchCommand::runOnce(const std::vector<std::string>& paths, CopiesWatch& copies, Console& console)
{
    std::vector<std::string> present;
    for (const std::string& path : paths) {
        if (stampOf(path))
            present.push_back(path);
        else
            console.say(printable(path) + ": is not there, and left out");
    }
    if (present.size() < 2)
        throw CommandFailure(kFailed, "fewer than two of the files are there; nothing was written");
    const WatchRound round = copies.synchronise(present);
    for (const std::string& trouble : round.troubles)
        console.complain(trouble);
    return round.status;
}

} // namespace

std::unique_ptr<Command> watchCommand()
{
    return std::make_unique<WatchCommand>();
}
