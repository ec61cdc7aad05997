#pragma once

#include "ExitStatus.h"
#include "Guards.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <vector>

class Console;
struct SyncPlan;

/// What became of one file.
struct ReportedFile {
    std::string path;
    bool written = false;
    uint64_t recordsBefore = 0;
    uint64_t recordsAfter = 0;
    uint64_t added = 0;
    uint64_t removed = 0;
    uint64_t deletionsAfter = 0;
    std::string backup; // its path, or empty
};

/// Two records to look at: two likely versions of one, or one UUID in two categories.
struct KeptTwice {
    std::string uuidInFirst;
    std::string uuidInSecond;
    std::string category; // of the first
    bool sameUuid = false;
};

/// What a synchronisation of two files did, for people and for programs.
struct SyncReport {
    enum class Outcome {
        InStep,
        Planned,
        Done
    };

    Outcome outcome {};
    std::string runId; // in the journal; empty if nothing was written
    ReportedFile first;
    ReportedFile second;
    std::vector<std::string> sentences; // of the plan
    std::vector<KeptTwice> keptTwice;
    std::vector<Objection> objections; // to the plan, allowed or not
    uint32_t identical = 0;
    uint32_t duplicated = 0;
    uint32_t attempts = 1; // times that the files were read, as others changed them meanwhile

    /// kDone, or kLookAtIt if records were kept twice by this run.
    ExitStatus status() const { return outcome == Outcome::Done && !keptTwice.empty() ? kLookAtIt : kDone; }
};

/// The report of a plan, InStep or Planned. Without `alsoSecond` the second file stays as it is.
SyncReport reportOf(const SyncPlan& plan, bool alsoSecond = true);

std::vector<KeptTwice> keptTwiceBy(const SyncPlan& plan);

/// A short table and sentences to standard output, unless quiet.
void printReport(const SyncReport& report, Console& console);
nlohmann::ordered_json jsonOf(const SyncReport& report);
nlohmann::ordered_json jsonOf(const Objection& objection);
