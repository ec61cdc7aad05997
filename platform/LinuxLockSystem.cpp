#include "NSDistributedLock.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <optional>
#include <sstream>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kHolder[] = "holder";

struct Identity {
    dev_t device = 0;
    ino_t file = 0;

    bool operator==(const Identity&) const = default;
};

std::optional<Identity> identityOf(const std::string& path)
{
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return std::nullopt;
    return Identity { status.st_dev, status.st_ino };
}

std::optional<Identity> identityOf(int descriptor)
{
    struct stat status {};
    if (::fstat(descriptor, &status) != 0)
        return std::nullopt;
    return Identity { status.st_dev, status.st_ino };
}

std::time_t askForProcessStart()
{
    std::ifstream statusFile("/proc/self/stat");
    std::string status;
    std::getline(statusFile, status);
    std::istringstream fields(status.substr(status.rfind(')') + 1)); // the program's name may hold anything
    std::string field;
    for (int number = 3; number <= 22 && fields; ++number)
        fields >> field;
    std::ifstream systemFile("/proc/stat");
    for (std::string key; systemFile >> key;) {
        std::time_t boot = 0;
        if (key == "btime" && systemFile >> boot)
            return boot + static_cast<std::time_t>(std::strtoull(field.c_str(), nullptr, 10))
                / static_cast<std::time_t>(::sysconf(_SC_CLK_TCK));
        std::getline(systemFile, key);
    }
    return 0;
}

/// When this process started, in seconds since 1970; 0 if the system doesn't tell. Asked for once.
std::time_t processStart()
{
    static const std::time_t start = askForProcessStart();
    return start;
}

std::string holderNote()
{
    char host[256] = {};
    ::gethostname(host, sizeof host - 1);
    char started[32] = {};
    const std::time_t start = processStart();
    std::tm utc {};
    if (::gmtime_r(&start, &utc) != nullptr)
        std::strftime(started, sizeof started, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return std::string("host: ") + host + "\nprocess: " + std::to_string(::getpid()) + "\nstarted: " + started
        + "\nprogram: " + program_invocation_short_name + "\n";
}

/// False if it is there already, or can't be made. What stands in it is best effort.
bool makeNote(int folder)
{
    const int file = ::openat(folder, kHolder, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (file < 0)
        return false;
    const std::string note = holderNote();
    [[maybe_unused]] const ssize_t written = ::write(file, note.data(), note.size());
    ::close(file);
    return true;
}

std::string pathAside(const std::string& path)
{
    unsigned char random[6] = {};
    if (::getrandom(random, sizeof random, 0) < 0)
        return path + ".gone"; // unlikely enough to be there
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".%02x%02x%02x%02x%02x%02x", random[0], random[1], random[2], random[3],
        random[4], random[5]);
    return path + suffix;
}

void removeLockObject(const std::string& path)
{
    if (::unlink(path.c_str()) == 0) // another program's lock may be a plain file
        return;
    ::unlink((path + "/" + kHolder).c_str());
    ::rmdir(path.c_str());
}

class LinuxLock final : public NSDistributedLock {
public:
    explicit LinuxLock(std::string path) : path_(std::move(path)) { }
    ~LinuxLock() override { letGo(); }

    bool tryLock() override
    {
        if (::mkdir(path_.c_str(), 0755) != 0)
            return false;
        letGo();
        if (takeFolder())
            return true;
        if (errno != ENOENT && errno != EEXIST) // neither broken nor another's: a lock that nobody would hold
            ::rmdir(path_.c_str()); // one with a note in it, which somebody has taken by now, is not empty and stays
        letGo();
        return false;
    }

    void unlock() override
    {
        if (held_ && identityOf(path_) == held_)
            takeAway(held_);
        letGo();
    }

    void breakLock() override { takeAway(std::nullopt); }

private:
    /// Since it was made, the folder may have been broken, and another made in its place. Whoever makes the note in the
    /// folder that stands there holds the lock, and nobody else: the note is made once. False with errno.
    bool takeFolder()
    {
        // The open descriptor keeps the folder's number from being given to another while this object lives.
        folder_ = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (folder_ < 0)
            return false;
        held_ = identityOf(folder_);
        if (!held_ || !makeNote(folder_))
            return false;
        if (identityOf(path_) == held_)
            return true;
        ::unlinkat(folder_, kHolder, 0); // the folder was being removed, and its old note was gone already
        errno = ENOENT;
        return false;
    }

    /// One rename is the moment at which the lock is gone; what is left of it is removed in peace. If another program
    /// has broken and taken the lock between the look and the rename, that program gets it back.
    void takeAway(const std::optional<Identity>& expected)
    {
        const std::string aside = pathAside(path_);
        if (::rename(path_.c_str(), aside.c_str()) != 0) {
            if (errno == ENAMETOOLONG)
                removeLockObject(path_);
            return;
        }
        if (expected && identityOf(aside) != expected)
            ::rename(aside.c_str(), path_.c_str());
        else
            removeLockObject(aside);
    }

    void letGo()
    {
        if (folder_ >= 0)
            ::close(folder_);
        folder_ = -1;
        held_.reset();
    }

    std::string path_;
    int folder_ = -1;
    std::optional<Identity> held_;
};

} // namespace

LinuxLockSystem::LinuxLockSystem()
{
    static_cast<void>(processStart());
}

std::unique_ptr<NSDistributedLock> LinuxLockSystem::lockWithPath(const std::string& path)
{
    return std::make_unique<LinuxLock>(path);
}
