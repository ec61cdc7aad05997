#pragma once

#include "NSException.h"
#include "NSLog.h"
#include "Sleeper.h"
#include "VLR_String.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A sleeper that only records.
class SleeperStandIn final : public Sleeper {
public:
    void sleep(std::chrono::microseconds duration) override { slept.push_back(duration.count()); }

    std::vector<int64_t> slept; // microseconds
};

/// Gathers log lines while in scope.
class LogLines {
public:
    LogLines()
        : before_(setLogSink([this](std::string_view line) { lines.emplace_back(line); }))
    {
    }
    ~LogLines() { setLogSink(std::move(before_)); }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    /// All of them, each with its end.
    std::string text() const
    {
        std::string all;
        for (const std::string& line : lines)
            all += line + "\n";
        return all;
    }

    std::vector<std::string> lines;

private:
    NSLogSink before_;
};

/// Name and reason of the exception that the work raises, or nothing.
inline std::string raisedBy(const std::function<void()>& work)
{
    try {
        work();
    } catch (const NSException& exception) {
        return exception.name() + "|" + exception.reason();
    }
    return "";
}

/// The inconsistency form's text.
inline std::string inconsistency(const std::string& message, const std::string& method, int line)
{
    return "NSInternalInconsistencyException|" + message + ", method: " + method
        + ", file: ExtraContainerUtilities, line: " + std::to_string(line);
}

inline VLR_String text(const char* utf8)
{
    return VLR_String(utf8, VLR_CharacterSetUTF8);
}

inline std::string plain(const VLR_String& value)
{
    return { reinterpret_cast<const char*>(value.Bytes()), value.Length() };
}
