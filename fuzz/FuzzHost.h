#pragma once

#include "FuzzInput.h"

#include <string>

/// A host whose draws, and whose one file, come from an input.
struct FuzzHost {
    static FuzzHost& get();

    /// Draws go round through these bytes, with a counter mixed in.
    std::string draws;
    uint32_t drawn = 0;

    std::string file; // what ReadFromOSFile reads

    uint32_t draw();
};
