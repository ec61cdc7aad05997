#include "ForeignReceiverProcess.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kLineWait = 10000; // milliseconds: for a loaded machine, and no more

} // namespace

ForeignReceiverProcess::ForeignReceiverProcess(const std::string& mode)
{
    int output[2];
    if (::pipe(output) != 0)
        return;
    pid_ = ::fork();
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(output[1], STDOUT_FILENO);
        ::close(output[0]);
        ::close(output[1]);
        ::execl(VELLORIN_BIN "/foreign-receiver", "foreign-receiver", mode.c_str(), nullptr);
        ::_exit(127);
    }
    ::close(output[1]);
    output_ = output[0];
}

ForeignReceiverProcess::~ForeignReceiverProcess()
{
    end();
    ::close(output_);
}

void ForeignReceiverProcess::end()
{
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    pid_ = -1;
}

std::string ForeignReceiverProcess::line()
{
    std::string text;
    pollfd waitFor { output_, POLLIN, 0 };
    for (char c = 0; ::poll(&waitFor, 1, kLineWait) == 1 && ::read(output_, &c, 1) == 1 && c != '\n';)
        text += c;
    return text;
}

std::string ForeignReceiverProcess::restOfOutput()
{
    end();
    std::string text;
    for (char c = 0; ::read(output_, &c, 1) == 1;)
        text += c;
    return text;
}
