#pragma once

#include "Journal.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

class Console;

/// What runs have done with one record in one file, and what has become of it.
struct Explanation {
    enum class Deed {
        Added,
        Removed,
        Doubled
    };

    struct Event {
        std::string runId;
        std::string time;
        std::string command;
        Deed deed {};
        std::vector<std::string> otherFiles; // that took part
        bool wasTakenBack = false;
        bool bySelf = false; // removed: the file itself listed it as deleted
        bool wasCutOff = false; // it may not have come to it
    };

    std::string path;
    std::string uuid;
    std::vector<Event> events; // the oldest first
    std::vector<std::string> categories; // in which it stands in the file now; none if it doesn't
    bool isListedAsDeleted = false;
};

/// Looks for the record in the file and in the journal. The begin of a UUID is enough if there is one only; the case of
/// letters doesn't count.
/// Raises: CommandFailure: kRefused if nobody knows such a record, or several fit; kFailed if the file can't be read.
Explanation explain(const std::string& path, const std::string& uuid, const Journal& journal);

void print(const Explanation& explanation, Console& console);

/// Members for a document of the command.
nlohmann::ordered_json jsonOf(const Explanation& explanation);
