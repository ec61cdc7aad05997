#pragma once

#include "AppleEvent.h"
#include "NSPropertyList.h"

#include <optional>
#include <string>

/// What a desktop knows of its programs.
class NSWorkspace {
public:
    virtual ~NSWorkspace() = default;

    /// The process that has the user's attention; absent where the desktop has no such notion, or doesn't tell.
    virtual std::optional<ProcessSerialNumber> GetFrontProcess() const = 0;

    /// The name that the user sees; empty if there is none.
    virtual std::string CopyProcessName(const ProcessSerialNumber& process) const = 0;

    /// What is known of a process, by keys such as "CFBundleIdentifier", "FileCreator" and "pid"; empty for one that
    /// has ended.
    virtual NSPropertyList::Dictionary ProcessInformationCopyDictionary(const ProcessSerialNumber& process) const = 0;
};

/// A desktop that doesn't tell: no protocol that all desktops share lets one program ask which other one is in front.
class LinuxWorkspace final : public NSWorkspace {
public:
    std::optional<ProcessSerialNumber> GetFrontProcess() const override { return std::nullopt; }
    std::string CopyProcessName(const ProcessSerialNumber&) const override { return {}; }
    NSPropertyList::Dictionary ProcessInformationCopyDictionary(const ProcessSerialNumber&) const override
    {
        return {};
    }
};
