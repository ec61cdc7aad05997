#pragma once

#include "CopiesInStep.h"
#include "WatchLoop.h"

#include <string>
#include <vector>

class Console;
class Journal;

/// The rounds of a watch over copies of a vault: synchronises those that are there, and tells what became of it.
class CopiesWatch {
public:
    struct Json {
        bool isWanted = false;
        bool inAnyCase = false; // else only of rounds that wrote, or whose troubles are others than before
    };

    /// `journal` and `console` must outlive the object.
    CopiesWatch(const SyncOptions& options, const Json& json, Journal& journal, Console& console);

    /// A file that is no whole vault is left out, so that it doesn't keep the others apart. What fails is a trouble of
    /// the round and is not raised. Throws Interrupted.
    WatchRound synchronise(const std::vector<std::string>& present);

private:
    std::vector<std::string> readable(const std::vector<std::string>& paths, WatchRound& round) const;
    CopiesReport synchroniseReadable(const std::vector<std::string>& paths, WatchRound& round);
    void tell(const CopiesReport& report) const;
    void tellPrograms(const WatchRound& round, const CopiesReport& report);

    const SyncOptions options_;
    const Json json_;
    Journal& journal_;
    Console& console_;
    std::vector<std::string> troublesTold_;
};
