#pragma once

#include "AppleEvent.h"

/// What both ends of the hand-off know: the events' codes, and the application's name.
namespace ConduitEvents {

inline constexpr uint32_t kClass = fourCharCode("Sh11");
inline constexpr uint32_t kStart = fourCharCode("SynA");
inline constexpr uint32_t kStop = fourCharCode("SynB");
inline constexpr char kApplication[] = "com.tarquen.Vellorin";

} // namespace ConduitEvents
