#pragma once

#include <cstdint>

// The published initial tables, kept apart from the instances that start from them.
extern const uint32_t kBlowFishP[18];
extern const uint32_t kBlowFishS[4][256];
