#include "StCapturedOutput.h"

#include <unistd.h>

StRedirected::StRedirected(int descriptor, int target)
    : descriptor(descriptor)
    , before(::dup(descriptor))
{
    std::fflush(nullptr);
    ::dup2(target, descriptor);
    ::close(target);
}

StRedirected::~StRedirected()
{
    std::fflush(nullptr);
    ::dup2(before, descriptor);
    ::close(before);
}

StCapturedOutput::StCapturedOutput()
    : outFile(std::tmpfile(), std::fclose)
    , errorFile(std::tmpfile(), std::fclose)
    , outRedirected(STDOUT_FILENO, ::dup(::fileno(outFile.get())))
    , errorRedirected(STDERR_FILENO, ::dup(::fileno(errorFile.get())))
{
}

std::string StCapturedOutput::contentOf(std::FILE* file)
{
    std::string content;
    char buffer[4096];
    off_t place = 0;
    for (ssize_t count = 0; (count = ::pread(::fileno(file), buffer, sizeof buffer, place)) > 0; place += count)
        content.append(buffer, static_cast<std::size_t>(count));
    return content;
}
