#pragma once

#include <ctime>
#include <string>

/// "2026-11-21 10:36:08", where the user is; "unknown" for 0.
std::string localTimeText(std::time_t time);

/// "2026-11-21T10:36:08Z", for programs.
std::string utcTimeText(std::time_t time);
