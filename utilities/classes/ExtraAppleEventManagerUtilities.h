#pragma once

#include "AppleEventSystem.h"

#include <cstdint>
#include <string>

/// Events without parameters, of the class kCoreEventClass, sent in one try. All answer 0 or an error, which is
/// paramErr if the process isn't found.
namespace ExtraAppleEventManagerUtilities {

/// Doesn't wait for a reply: 0 says that the event is under way.
int16_t quickSend(uint32_t eventID, const std::string& toProcess, AppleEventSystem& eventSystem);

/// Waits for the reply and stores its direct parameter, an unsigned number. After an error the value stays.
/// Raises: NSException "nil retVal for quickSend." for a null reference.
int16_t quickSend(uint32_t eventID, const std::string& toProcess, uint32_t* returnValue, AppleEventSystem& eventSystem);

} // namespace ExtraAppleEventManagerUtilities
