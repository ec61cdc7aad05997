#pragma once

#include "AppleEventSystem.h"
#include "NSPropertyList.h"
#include "Sleeper.h"

#include <optional>
#include <string>

/// Operations on the event system's values: the first argument is the receiver, unless it is a class operation.
namespace ExtraAppleEventDescriptorUtilities {

/// The type of a descriptor that holds an archived collection.
inline constexpr uint32_t typeArchive = fourCharCode("Arch");

/// A process as the target of an event.
NSAppleEventDescriptor descriptorWithProcess(const ProcessSerialNumber& process);

/// The running process with a bundle identifier, as the target of an event. Logs its serial number.
/// Raises: NSException "Can't find process <...>".
NSAppleEventDescriptor descriptorForProcess(const std::string& bundleIdentifier, AppleEventSystem& eventSystem);

/// Sends the event, waits for the reply, and answers its direct parameter; absent if it has none.
///
/// An application that has only just been launched isn't reachable at once: where the process isn't found, up to 5
/// tries are made. Each failed one logs a count down from 5 and is followed by a sleep of 2 seconds, also the last, and
/// one that failed otherwise and is not repeated.
/// Raises: NSException "Can't send AppleEvent. (...)" with the error.
std::optional<NSAppleEventDescriptor> send(const AppleEvent& event, AppleEventSystem& eventSystem, Sleeper& sleeper);

/// A collection of property-list values, archived (docs/archive-format.md). Callers know the name as it is spelled.
/// Raises: NSException for a collection past the archive's bounds.
NSAppleEventDescriptor descrptorWithArchivedCollection(const NSPropertyList& collection);

/// The reverse; the descriptor's type is not looked at. Raises: NSException for bytes that are no archive.
NSPropertyList unarchivedCollection(const NSAppleEventDescriptor& descriptor);

} // namespace ExtraAppleEventDescriptorUtilities
