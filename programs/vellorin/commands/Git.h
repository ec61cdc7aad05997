#pragma once

#include <string>
#include <vector>

/// What a run of git gave.
struct GitResult {
    int status = 0; // its exit status
    std::string output; // without the last line end
};

/// Runs git with these words, never through a shell, in the present folder. Its messages go to standard error, unless
/// they are muted.
/// Raises: CommandFailure (kFailed) if it can't be run or ends by a signal.
GitResult runGit(const std::vector<std::string>& words, bool muted = false);
