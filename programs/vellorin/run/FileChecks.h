#pragma once

#include <string>
#include <vector>

/// What would only come out in the middle of a run, told before anything is touched: a file that isn't there or is no
/// regular file, one file under two names, a name too long for a lock or a backup beside it, a folder that can't be
/// written.
struct FileChecks {
    bool areReplaced = true; // not a dry run
    bool getBackups = true;

    /// Raises: CommandFailure: kRefused for one file twice and for names too long, kFailed for the rest.
    void operator()(const std::vector<std::string>& paths) const;
};
