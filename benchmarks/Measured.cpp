// Runs a program and tells what it cost. Usage: measured REPORT PROGRAM ARGUMENTS...
//
// REPORT receives one line: wall seconds, processor seconds, those of them in the kernel, peak memory in bytes,
// bytes written, wait status. Whoever starts a program counts in its peak; so this one is small.

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

double seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// Bytes given to write calls by a process that has ended and is not waited for yet; -1 if the system doesn't tell.
long long writtenBy(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/io");
    std::string name;
    long long value = 0;
    while (file >> name >> value) {
        if (name == "wchar:")
            return value;
    }
    return -1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fputs("usage: measured REPORT PROGRAM ARGUMENTS...\n", stderr);
        return 2;
    }
    const auto begin = std::chrono::steady_clock::now();
    const pid_t process = ::vfork();
    if (process == 0) {
        ::execvp(argv[2], argv + 2);
        ::_exit(127);
    }
    siginfo_t ended {};
    if (process < 0 || ::waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT) != 0) {
        std::perror("measured");
        return 1;
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
    const long long written = writtenBy(process);
    int status = 0;
    rusage usage {};
    ::wait4(process, &status, 0, &usage);
    std::FILE* const report = std::fopen(argv[1], "w");
    if (report == nullptr) {
        std::perror(argv[1]);
        return 1;
    }
    std::fprintf(report, "%.6f %.6f %.6f %ld %lld %d\n", wall.count(),
        seconds(usage.ru_utime) + seconds(usage.ru_stime), seconds(usage.ru_stime), usage.ru_maxrss * 1024L, written,
        status);
    return std::fclose(report) == 0 ? 0 : 1;
}
