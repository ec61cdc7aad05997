#pragma once

#include "NSWindowController.h"
#include "NSWorkspace.h"

/// Operations on the running program and the one in front: the first argument is the receiver.
namespace ExtraApplicationUtilities {

/// Brings the program before all others, as far as the desktop lets it.
void bringToFront(NSApplication& application);

/// What is known of the process that is in front at this moment; empty if there is none.
NSPropertyList::Dictionary frontProcessInformation(const NSWorkspace& workspace);

} // namespace ExtraApplicationUtilities
