#include "LockHolder.h"

#include "FileSteps.h"
#include "FileSystemCalls.h"
#include "Leftovers.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kTimeForm[] = "%Y-%m-%dT%H:%M:%SZ";
constexpr std::time_t kClockTolerance = 2; // times are cut to whole seconds, here and by older programs
constexpr std::size_t kLongestNote = 4096;

/// What the system tells of a process.
struct ProcessStatus {
    char state = 0; // Z and X are dead ones
    std::time_t started = 0; // 0 if the system doesn't tell
};

/// When the system started. Its own word for it, in /proc/stat, takes it longer than all else here.
std::time_t systemStart()
{
    timespec now {};
    timespec sinceStart {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    ::clock_gettime(CLOCK_BOOTTIME, &sinceStart);
    return now.tv_sec - sinceStart.tv_sec - (now.tv_nsec < sinceStart.tv_nsec ? 1 : 0);
}

ProcessStatus statusOfProcess(const std::string& name)
{
    std::ifstream file("/proc/" + name + "/stat");
    std::string line;
    std::getline(file, line);
    std::istringstream fields(line.substr(line.rfind(')') + 1)); // the program's name may hold anything
    ProcessStatus status;
    std::string field;
    for (int number = 3; number <= 22 && fields >> field; ++number) {
        if (number == 3)
            status.state = field.front();
    }
    if (fields)
        status.started = systemStart()
            + static_cast<std::time_t>(std::strtoull(field.c_str(), nullptr, 10))
                / static_cast<std::time_t>(::sysconf(_SC_CLK_TCK));
    return status;
}

std::string hostName()
{
    char host[256] = {};
    ::gethostname(host, sizeof host - 1);
    return host;
}

std::string textOfTime(std::time_t time)
{
    char text[32] = {};
    std::tm utc {};
    if (::gmtime_r(&time, &utc) != nullptr)
        std::strftime(text, sizeof text, kTimeForm, &utc);
    return text;
}

/// 0 for what is no time, and for a 60th second, which the system would take and which textOfTime never tells.
std::time_t timeOfText(const std::string& text)
{
    std::tm utc {};
    const char* const end = ::strptime(text.c_str(), kTimeForm, &utc);
    return end != nullptr && *end == '\0' && utc.tm_sec < 60 ? ::timegm(&utc) : 0;
}

/// The rest of the first line that begins with the key.
std::string valueOf(const std::string& key, const std::string& note)
{
    std::istringstream lines(note);
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, key.size(), key) == 0)
            return line.substr(key.size());
    }
    return {};
}

void takeNote(const std::string& note, LockHolder& holder)
{
    const std::string process = valueOf("process: ", note);
    pid_t number = 0;
    const auto [end, error] = std::from_chars(process.data(), process.data() + process.size(), number);
    if (error != std::errc() || end != process.data() + process.size() || number <= 0)
        return;
    holder.hasNote = true;
    holder.process = number;
    holder.host = valueOf("host: ", note);
    holder.started = timeOfText(valueOf("started: ", note));
    holder.program = valueOf("program: ", note);
}

std::string nameOfUser(uid_t user)
{
    std::vector<char> buffer(16384);
    passwd entry {};
    passwd* found = nullptr;
    const bool isKnown = ::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr;
    return isKnown ? found->pw_name : std::to_string(user);
}

/// Reads the note and its date; nothing if it isn't a plain file. It is the system that decides whose it is.
void readNote(FileSystemCalls& calls, int folder, LockHolder& holder)
{
    const StDescriptor file(calls, calls.openAt(folder, kLockNote, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
    struct stat status { };
    if (file.value < 0 || calls.statOf(file.value, status) != 0 || !S_ISREG(status.st_mode))
        return;
    char note[kLongestNote];
    const ssize_t length = calls.read(file.value, note, sizeof note);
    if (length <= 0)
        return;
    takeNote(std::string(note, static_cast<std::size_t>(length)), holder);
    holder.since = status.st_mtime;
}

bool holdsNothingButNote(FileSystemCalls& calls, int folder)
{
    std::vector<std::string> names;
    if (calls.namesIn(folder, names) != 0)
        return false;
    if (names.empty())
        return true;
    struct stat status { };
    return names.size() == 1 && names.front() == kLockNote
        && calls.statAt(folder, kLockNote, status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode);
}

bool isSameProcess(const LockHolder& holder)
{
    if (::kill(holder.process, 0) != 0 && errno == ESRCH)
        return false;
    const ProcessStatus status = statusOfProcess(std::to_string(holder.process));
    if (status.state == 'Z' || status.state == 'X')
        return false;
    const bool isComparable = status.started != 0 && holder.started != 0;
    return !isComparable || std::abs(status.started - holder.started) <= kClockTolerance;
}

} // namespace

std::optional<LockHolder> holderOfLock(const std::string& lockPath)
{
    FileSystemCalls& calls = fileSystemCalls();
    struct stat status { };
    if (calls.statAt(AT_FDCWD, lockPath, status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    LockHolder holder;
    holder.since = status.st_mtime;
    holder.owner = nameOfUser(status.st_uid);
    const StDescriptor folder(
        calls, calls.openAt(AT_FDCWD, lockPath, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
    if (folder.value < 0) {
        holder.isPlainLock = S_ISREG(status.st_mode) && status.st_size == 0;
        return holder;
    }
    holder.isPlainLock = holdsNothingButNote(calls, folder.value);
    readNote(calls, folder.value, holder);
    holder.isInUse = calls.markInUse(folder.value) != 0 && errno == EWOULDBLOCK;
    return holder;
}

HolderState stateOf(const LockHolder& holder)
{
    if (holder.isInUse)
        return HolderState::Lives;
    if (!holder.hasNote)
        return HolderState::Unknown;
    if (holder.host != hostName())
        return HolderState::OnAnotherHost;
    return isSameProcess(holder) ? HolderState::Lives : HolderState::Gone;
}

std::string noteOfThisProcess()
{
    static const std::time_t start = statusOfProcess("self").started;
    return "host: " + hostName() + "\nprocess: " + std::to_string(::getpid()) + "\nstarted: " + textOfTime(start)
        + "\nprogram: " + program_invocation_short_name + "\n";
}
