#include "NSLog.h"

#include <cerrno>
#include <string>
#include <utility>

#include <unistd.h>

namespace {

NSLogSink gSink;

/// One write for the whole line, so that lines of several programs don't mix.
void writeToStandardError(std::string_view line)
{
    std::string text(line);
    text += '\n';
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t n = ::write(STDERR_FILENO, text.data() + written, text.size() - written);
        if (n < 0 && errno != EINTR)
            return; // nobody is left to tell
        if (n > 0)
            written += static_cast<std::size_t>(n);
    }
}

} // namespace

void NSLog(std::string_view line)
{
    if (gSink)
        gSink(line);
    else
        writeToStandardError(line);
}

NSLogSink setLogSink(NSLogSink sink)
{
    return std::exchange(gSink, std::move(sink));
}

void silenceLog()
{
    setLogSink([](std::string_view) {});
}
