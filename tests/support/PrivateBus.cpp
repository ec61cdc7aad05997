#include "PrivateBus.h"

#include <array>
#include <cstdlib>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

PrivateBus::PrivateBus()
{
    int output[2];
    if (::pipe(output) != 0)
        return;
    daemon_ = ::fork();
    if (daemon_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        ::dup2(output[1], STDOUT_FILENO);
        ::setenv("HOME", folder_.path(".").c_str(), 1);
        const std::string address = "--address=unix:path=" + folder_.path("bus");
        ::execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address", address.c_str(), nullptr);
        ::_exit(127);
    }
    ::close(output[1]);
    for (char c = 0; ::read(output[0], &c, 1) == 1 && c != '\n';)
        address_ += c;
    ::close(output[0]);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus()
{
    if (daemon_ > 0) {
        ::kill(daemon_, SIGTERM);
        ::waitpid(daemon_, nullptr, 0);
    }
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

SilentBus::SilentBus()
    : descriptor_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    folder_.path("bus").copy(address.sun_path, sizeof address.sun_path - 1);
    if (::bind(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0
        && ::listen(descriptor_, 5) == 0)
        ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + folder_.path("bus")).c_str(), 1);
}

SilentBus::~SilentBus()
{
    ::close(descriptor_);
}

SecondProcess::SecondProcess(const std::function<int(const std::function<void()>& isReady)>& work)
{
    int ready[2];
    if (::pipe(ready) != 0)
        return;
    pid_ = ::fork();
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::close(ready[0]);
        ::_exit(work([&] {
            const char byte = 1;
            if (::write(ready[1], &byte, 1) != 1)
                ::_exit(126);
        }));
    }
    ::close(ready[1]);
    char byte = 0;
    while (::read(ready[0], &byte, 1) < 0) { }
    ::close(ready[0]);
}

SecondProcess::~SecondProcess()
{
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

int SecondProcess::wait()
{
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
