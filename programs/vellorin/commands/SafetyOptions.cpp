#include "SafetyOptions.h"

#include "ExitStatus.h"

namespace {

constexpr uint32_t kMostBackups = 99;

} // namespace

std::vector<Option> SafetyOptions::options()
{
    return {
        { "--no-backup", "", "", "make no numbered backups first", &noBackup_ },
        { "--keep-backups", "", "N", "keep so many backups of each file, the newest [10]", &keepBackups_ },
        { "--allow-removals", "", "", "go on though much would be removed from a file", &guards_.allowRemovals },
        { "--allow-unrelated", "", "", "go on though the vaults have nothing in common", &guards_.allowUnrelated },
        { "--allow-damage", "", "", "go on though a vault is damaged; it is backed up in any case",
            &guards_.allowDamage },
        { "--allow-older", "", "", "go on though a file is older than the last run left it", &guards_.allowOlder },
    };
}

SyncOptions SafetyOptions::syncOptions(const std::string& command) const
{
    if (keepBackups_ < 1 || keepBackups_ > kMostBackups)
        throw CommandFailure(kRefused, "--keep-backups needs a number from 1 to " + std::to_string(kMostBackups));
    SyncOptions options;
    options.backups = !noBackup_;
    options.keepBackups = keepBackups_;
    options.guards = guards_;
    options.command = command;
    return options;
}
