#pragma once

#include "ExitStatus.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class Console;
struct SyncPlan;

/// What became of one file.
struct ReportedFile {
    std::string path;
    bool written = false;
    uint32_t recordsBefore = 0;
    uint32_t recordsAfter = 0;
    uint32_t added = 0;
    uint32_t removed = 0;
    uint32_t deletionsAfter = 0;
    std::string backup; // its path, or empty
};

/// What a synchronisation did, for people and for programs.
struct SyncReport {
    enum class Outcome { InStep, Planned, Done };

    /// Two records to look at: two likely versions of one, or one UUID in two categories.
    struct KeptTwice {
        std::string uuidInFirst;
        std::string uuidInSecond;
        std::string category;
        bool sameUuid = false;
    };

    Outcome outcome {};
    std::string runId; // in the journal; empty if nothing was written
    ReportedFile first;
    ReportedFile second;
    std::vector<std::string> sentences; // of the plan
    std::vector<KeptTwice> keptTwice;
    uint32_t identical = 0;
    uint32_t duplicated = 0;
    uint32_t attempts = 1; // times that the files were read, as others changed them meanwhile

    /// kDone, or kLookAtIt if records were kept twice by this run.
    ExitStatus status() const { return outcome == Outcome::Done && !keptTwice.empty() ? kLookAtIt : kDone; }
};

SyncReport reportOf(const SyncPlan& plan);

/// A short table and sentences to the console.
void printReport(const SyncReport& report, Console& console);
nlohmann::ordered_json jsonOf(const SyncReport& report);
