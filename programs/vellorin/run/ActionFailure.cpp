#include "ActionFailure.h"

#include "ConduitSynchronizeSender.h"
#include "DocumentLock.h"
#include "FilePaths.h"
#include "LockHolderText.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <string_view>

#include <unistd.h>

namespace {

/// What a failure text begins with inside its brackets, and what people are told instead.
struct Words {
    std::string_view begin;
    std::string_view words;
};

constexpr std::array kWords {
    Words { kOpenByAnotherProgram, "another program has held the write lock for 15 seconds" },
    Words { "The file specified in the file synchronization preferences does not appear to exist.",
        "a file has gone meanwhile" },
    Words { "Can't find file:", "a file has gone meanwhile" },
    Words { "Can't synchronize a file with itself!>", "both names lead to one file" },
    Words { "sendStart: Unable to AESend. (-1712)>", "the application that has the file open did not answer in time" },
    Words {
        "sendStart: Unable to AESend.", "the application that has the file open could not be asked to let go of it" },
    Words { "Bad event response", "the application that has the file open gave no proper answer" },
    Words { "Unable to AEGetParamPtr.", "the application that has the file open gave no proper answer" },
};

/// "; a.vlr is locked by vellorin-sync, process 4711 on laptop, since ..."; empty if nobody holds its lock by now.
std::string holderOf(const std::string& path)
{
    const std::string file = absolutePath(path);
    const std::optional<LockHolder> holder = holderOfLock(*DocumentLock::lockPath(file));
    if (!holder || (holder->hasNote && holder->process == ::getpid())) // the other file's may be ours by now
        return {};
    return "; " + path + " is locked by " + describe(*holder) + "; \"vellorin unlock " + path
        + "\" tells whether it still runs, and breaks the lock if not";
}

/// Without its brackets: they are the action's manner.
std::string bare(const std::string& failure)
{
    const bool hasBrackets = failure.size() > 2 && failure.front() == '<' && failure.back() == '>';
    return hasBrackets ? failure.substr(1, failure.size() - 2) : failure;
}

} // namespace

std::string inWords(const std::string& actionFailure, const std::vector<std::string>& paths)
{
    const std::string failure = bare(actionFailure);
    std::string files;
    for (const std::string& path : paths)
        files.append(files.empty() ? "" : " and ").append(path);
    std::string holders;
    if (failure.starts_with(kOpenByAnotherProgram))
        std::for_each(paths.begin(), paths.end(), [&](const std::string& path) { holders += holderOf(path); });
    const auto* const known = std::find_if(
        std::begin(kWords), std::end(kWords), [&](const Words& words) { return failure.starts_with(words.begin); });
    return files + ": " + (known != std::end(kWords) ? std::string(known->words) + holders : failure);
}
