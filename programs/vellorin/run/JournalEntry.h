#pragma once

#include "Journal.h"

#include <optional>
#include <string>

// The form of a journal's entry: a JSON object, whose version is its first member.

std::string textOf(const JournalRun& run);

/// Absent if it is no entry of a version that is known.
std::optional<JournalRun> runOfText(const std::string& text);
