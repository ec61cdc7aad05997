#pragma once

#include <cstdlib>

/// Whether fault tests are to take their time: more histories, more states, more processes.
inline bool isLongForm()
{
    return std::getenv("VELLORIN_FAULTS_FULL") != nullptr;
}
