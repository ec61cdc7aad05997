#include "Git.h"

#include "ExitStatus.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(int error)
{
    throw CommandFailure(kFailed, std::string("git can't be run: ") + std::strerror(error));
}

/// Where the child's standard streams go, and that signals mean what they usually mean.
class SpawnSettings {
public:
    SpawnSettings(int output, bool muted)
    {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        if (muted)
            ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawnattr_init(&attributes);
        sigset_t usual;
        ::sigemptyset(&usual);
        ::sigaddset(&usual, SIGPIPE); // ignored here
        ::sigaddset(&usual, SIGXFSZ);
        ::posix_spawnattr_setsigdefault(&attributes, &usual);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnSettings()
    {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    posix_spawn_file_actions_t actions {};
    posix_spawnattr_t attributes {};
};

pid_t spawn(const std::vector<std::string>& words, int output, bool muted)
{
    const SpawnSettings settings(output, muted);
    std::string program = "git";
    std::vector<std::string> copies = words;
    std::vector<char*> arguments { program.data() };
    for (std::string& word : copies)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = -1;
    const int error
        = ::posix_spawnp(&child, program.c_str(), &settings.actions, &settings.attributes, arguments.data(), environ);
    if (error != 0)
        fail(error);
    return child;
}

std::string readAll(int descriptor)
{
    std::string output;
    char buffer[4096];
    for (;;) {
        const ssize_t got = ::read(descriptor, buffer, sizeof buffer);
        if (got > 0)
            output.append(buffer, static_cast<std::size_t>(got));
        else if (got == 0 || errno != EINTR)
            break;
    }
    if (output.ends_with('\n'))
        output.pop_back();
    return output;
}

} // namespace

GitResult runGit(const std::vector<std::string>& words, bool muted)
{
    int ends[2] = {};
    if (::pipe2(ends, O_CLOEXEC) != 0)
        fail(errno);
    struct StClose {
        ~StClose() { ::close(descriptor); }
        const int descriptor;
    };
    const StClose readEnd { ends[0] };
    pid_t child = -1;
    {
        const StClose writeEnd { ends[1] };
        child = spawn(words, ends[1], muted);
    }
    GitResult result { 0, readAll(ends[0]) };
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            fail(errno);
    }
    if (!WIFEXITED(status))
        throw CommandFailure(kFailed, "git was ended by signal " + std::to_string(WTERMSIG(status)));
    result.status = WEXITSTATUS(status);
    return result;
}
