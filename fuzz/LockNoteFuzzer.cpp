#include "FileSystemCalls.h"
#include "FuzzInput.h"
#include "Leftovers.h"
#include "LockHolder.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

// The note in a lock's folder, which anybody may have written: it is read as a plain reading has it, what was read is
// written and read to the same, and its holder's life is told only where the note is one of this host.

namespace {

constexpr std::size_t kLongest = 4096;
constexpr std::time_t kNoteMade = 1000000001;
constexpr std::time_t kFolderMade = 1000000000;
constexpr char kTimeForm[] = "0000-00-00T00:00:00Z"; // 0 stands for a digit

/// A lock with a note, in memory.
class LockInMemory final : public FileSystemCalls {
public:
    explicit LockInMemory(std::string note)
        : note_(std::move(note))
        , before_(setFileSystemCalls(*this))
    {
    }
    ~LockInMemory() override { setFileSystemCalls(before_); }
    LockInMemory(const LockInMemory&) = delete;
    LockInMemory& operator=(const LockInMemory&) = delete;

    int openAt(int, const std::string&, int, mode_t) override { return INT_MAX; }
    int close(int) override { return 0; }
    int markInUse(int) override { return 0; }
    ssize_t read(int, void* bytes, std::size_t count) override
    {
        const std::size_t n = std::min(count, note_.size());
        std::memcpy(bytes, note_.data(), n);
        return static_cast<ssize_t>(n);
    }
    int statAt(int, const std::string& name, struct stat& status, int) override
    {
        return name == kLockNote ? describe(S_IFREG, kNoteMade, status) : describe(S_IFDIR, kFolderMade, status);
    }
    int statOf(int, struct stat& status) override { return describe(S_IFREG, kNoteMade, status); }
    int namesIn(int, std::vector<std::string>& names) override
    {
        names = { kLockNote };
        return 0;
    }

private:
    static int describe(mode_t kind, std::time_t made, struct stat& status)
    {
        status = {};
        status.st_mode = kind;
        status.st_mtime = made;
        return 0;
    }

    const std::string note_;
    FileSystemCalls& before_;
};

LockHolder holderWith(const std::string& note)
{
    const LockInMemory lock(note);
    const std::optional<LockHolder> holder = holderOfLock("/lock");
    expect(holder.has_value(), "a lock that is there has a holder");
    return *holder;
}

std::string hostName()
{
    char name[256] = {};
    ::gethostname(name, sizeof name - 1);
    return name;
}

/// As it comes, or with the lines in front that make it one of this host, or of this process.
std::string takeNote(FuzzInput& input)
{
    const uint32_t kind = input.below(4);
    std::string note = kind >= 2 ? "host: " + hostName() + "\n" : "";
    if (kind == 3)
        note += "process: " + std::to_string(::getpid()) + "\n";
    return note + input.rest();
}

// The model

std::string valueIn(const std::string& note, const std::string& key)
{
    for (std::size_t start = 0; start < note.size();) {
        const std::size_t end = std::min(note.find('\n', start), note.size());
        if (note.compare(start, key.size(), key) == 0)
            return note.substr(start + key.size(), end - start - key.size());
        start = end + 1;
    }
    return {};
}

/// 0 if it is none.
pid_t processOf(const std::string& text)
{
    int64_t number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9' || number > INT_MAX)
            return 0;
        number = 10 * number + (c - '0');
    }
    return number <= INT_MAX ? static_cast<pid_t>(number) : 0;
}

/// True for a time in the form in which it is written, whose parts are within their bounds.
bool isTime(const std::string& text, std::time_t& time)
{
    const auto fits = [](char c, char form) { return form == '0' ? c >= '0' && c <= '9' : c == form; };
    if (!std::equal(text.begin(), text.end(), kTimeForm, kTimeForm + sizeof kTimeForm - 1, fits))
        return false;
    const auto part = [&](std::size_t at, std::size_t n) { return std::stoi(text.substr(at, n)); };
    namespace chrono = std::chrono;
    const chrono::year_month_day day(chrono::year(part(0, 4)), chrono::month(static_cast<unsigned>(part(5, 2))),
        chrono::day(static_cast<unsigned>(part(8, 2))));
    if (!day.ok() || part(11, 2) > 23 || part(14, 2) > 59 || part(17, 2) > 59)
        return false;
    time = chrono::sys_days(day).time_since_epoch().count() * std::time_t { 86400 } + part(11, 2) * 3600
        + part(14, 2) * 60 + part(17, 2);
    return true;
}

void expectAs(const std::string& note, const LockHolder& holder)
{
    const pid_t process = processOf(valueIn(note, "process: "));
    expect(holder.hasNote == (process > 0) && holder.process == process, "a note tells a process");
    expect(holder.since == (note.empty() ? kFolderMade : kNoteMade) && holder.isPlainLock, "the lock is a plain one");
    if (!holder.hasNote) {
        expect(holder.host.empty() && holder.program.empty() && holder.started == 0, "what is no note tells nothing");
        return;
    }
    expect(holder.host == valueIn(note, "host: "), "the host is as the note has it");
    expect(holder.program == valueIn(note, "program: "), "the program is as the note has it");
    std::time_t started = 0;
    expect(!isTime(valueIn(note, "started: "), started) || holder.started == started, "so is the start");
}

std::string textOfTime(std::time_t time)
{
    char text[64] = {};
    std::tm utc {};
    ::gmtime_r(&time, &utc);
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

void expectComesBack(const LockHolder& holder)
{
    const std::string note = "program: " + holder.program + "\nprocess: " + std::to_string(holder.process)
        + "\nstarted: " + (holder.started != 0 ? textOfTime(holder.started) : "") + "\nhost: " + holder.host + "\n";
    if (note.size() <= kLongest)
        expect(holderWith(note) == holder, "what was written is read to the same");
}

void expectState(const LockHolder& holder)
{
    const HolderState state = stateOf(holder);
    if (!holder.hasNote || holder.host != hostName()) {
        expect(state == (holder.hasNote ? HolderState::OnAnotherHost : HolderState::Unknown),
            "nothing is said of a holder that nobody can ask for");
        return;
    }
    expect(state == HolderState::Lives || state == HolderState::Gone, "one of this host lives or doesn't");
    if (holder.process != ::getpid())
        return;
    const bool isToCome = holder.started > std::time(nullptr) + 60;
    expect(holder.started != 0 || state == HolderState::Lives, "this process lives");
    expect(!isToCome || state == HolderState::Gone, "one that starts later isn't this one");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const std::string note = takeNote(input);
    const LockHolder holder = holderWith(note);
    expectAs(note.substr(0, kLongest), holder);
    if (holder.hasNote)
        expectComesBack(holder);
    expectState(holder);
    return 0;
}
