#pragma once

#include "VLR_String.h"

#include <deque>
#include <map>
#include <optional>
#include <string>

/// The host's answers as a test wants them, and a record of what it was asked.
struct ScriptedHost {
    static ScriptedHost& get();

    std::map<int, int> preferences;
    std::optional<std::string> keychain;
    std::deque<std::optional<std::string>> dialog; // absent: the user gives up
    std::string asked;
    int beeps = 0;
    std::deque<uint32_t> numbers; // answers of RandomUInt32, then 0
    std::string bounds; // that they were asked with
    std::deque<long> draws; // answers of VLR_RandomDraw, then 0
    int drawn = 0;
    int32_t readResult = 0; // of ReadFromOSFile, which reads if it is 0
    int recordsMade = 0;
    int recordsGone = 0;
};

/// The first base of a fixture: a host that knows nothing of other tests, before any document asks it.
struct FreshHost {
    FreshHost() { host = ScriptedHost(); }

    ScriptedHost& host = ScriptedHost::get();
};
