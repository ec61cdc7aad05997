#pragma once

#include "AppleEvent.h"

#include <systemd/sd-bus.h>

/// Events as messages of the bus: class, ID, return ID, transaction ID and parameters, "uuiia(u(uv))". A descriptor is
/// its type code and a variant: "ay" bytes, or for a list "a(uv)" descriptors.
namespace EventWire {

inline constexpr char kObject[] = "/com/tarquen/Vellorin";
inline constexpr char kInterface[] = "com.tarquen.Vellorin.Events";
inline constexpr char kMethod[] = "SendEvent";
inline constexpr char kEventSignature[] = "uuiia(u(uv))";
inline constexpr char kReplySignature[] = "a(u(uv))";

// Each answers 0 or more, or a negative error number. Reading takes lists nested at most 8 deep and at most 64
// descriptors in all, more than a hand-off needs; beyond is an error, so that no message can exhaust stack or memory.

int appendEvent(sd_bus_message* message, const AppleEvent& event);
int appendParameters(sd_bus_message* message, const AppleEvent& event);
int readEvent(sd_bus_message* message, AppleEvent& event);
int readParameters(sd_bus_message* message, AppleEvent& event);

} // namespace EventWire
