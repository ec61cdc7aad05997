#pragma once

#include "AppleEvent.h"

/// What both ends of the hand-off and of messages to a running application know: the events' codes, and its name.
namespace ConduitEvents {

inline constexpr uint32_t kClass = fourCharCode("Sh11");
inline constexpr uint32_t kStart = fourCharCode("SynA");
inline constexpr uint32_t kStop = fourCharCode("SynB");
inline constexpr uint32_t kLastUsed = fourCharCode("Used"); // a record's last-used date has changed
inline constexpr char kApplication[] = "com.tarquen.Vellorin";

} // namespace ConduitEvents
