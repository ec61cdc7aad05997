#pragma once

#include "CommandPage.h"
#include "SyncRun.h"

#include <string>
#include <vector>

/// The options by which commands that synchronise are told what to keep and which refusals to wave aside.
class SafetyOptions {
public:
    std::vector<Option> options();

    /// As they were given. Raises: CommandFailure (kRefused) for a number of backups that can't be.
    SyncOptions syncOptions(const std::string& command) const;

private:
    GuardOptions guards_;
    bool noBackup_ = false;
    uint32_t keepBackups_ = 10;
};
