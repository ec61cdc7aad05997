#include "ExtraAppleEventDescriptorUtilities.h"

#include "ExtraStringUtilities.h"
#include "NSArchiver.h"
#include "NSLog.h"
#include "UtilityExceptions.h"

#include <cstdio>

namespace {

constexpr char kDescriptorForProcess[]
    = "+[NSAppleEventDescriptor(ExtraAppleEventDescriptorUtilities) descriptorForProcess:]";
constexpr int kDescriptorForProcessLine = 1921;
constexpr char kSend[] = "-[NSAppleEventDescriptor(ExtraAppleEventDescriptorUtilities) send]";
constexpr int kSendLine = 1965;

constexpr int kFurtherTries = 4;
constexpr std::chrono::seconds kPauseAfterFailure { 2 };

void logSerialNumber(const ProcessSerialNumber& process)
{
    char line[64];
    std::snprintf(line, sizeof line, "PSN Sender: 0x%x 0x%x", process.highLongOfPSN, process.lowLongOfPSN);
    NSLog(line);
}

} // namespace

NSAppleEventDescriptor ExtraAppleEventDescriptorUtilities::descriptorWithProcess(const ProcessSerialNumber& process)
{
    return NSAppleEventDescriptor::descriptorWithDescriptorType(typeProcessSerialNumber, process.bytes());
}

NSAppleEventDescriptor ExtraAppleEventDescriptorUtilities::descriptorForProcess(
    const std::string& bundleIdentifier, AppleEventSystem& eventSystem)
{
    ProcessSerialNumber process;
    if (!ExtraStringUtilities::findProcess(bundleIdentifier, &process, eventSystem))
        raisePlain(kDescriptorForProcess, kDescriptorForProcessLine, "Can't find process <" + bundleIdentifier + ">");
    NSAppleEventDescriptor descriptor = descriptorWithProcess(process);
    logSerialNumber(process);
    return descriptor;
}

std::optional<NSAppleEventDescriptor> ExtraAppleEventDescriptorUtilities::send(
    const AppleEvent& event, AppleEventSystem& eventSystem, Sleeper& sleeper)
{
    AppleEvent reply;
    for (int triesLeft = kFurtherTries;; --triesLeft) {
        const int16_t error = eventSystem.AESend(event, reply, kReplyWithoutInteraction);
        if (error == noErr)
            break;
        NSLog("Send try: " + std::to_string(triesLeft + 1));
        sleeper.sleep(kPauseAfterFailure); // before a failure is raised too: whoever tries again relies on the pause
        if (error != procNotFound || triesLeft < 1)
            raisePlain(kSend, kSendLine, "Can't send AppleEvent. (" + std::to_string(error) + ")");
    }
    const NSAppleEventDescriptor* const answer = reply.paramDescriptorForKeyword(keyDirectObject);
    return answer != nullptr ? std::optional(*answer) : std::nullopt;
}

NSAppleEventDescriptor ExtraAppleEventDescriptorUtilities::descrptorWithArchivedCollection(
    const NSPropertyList& collection)
{
    return NSAppleEventDescriptor::descriptorWithDescriptorType(
        typeArchive, NSArchiver::archivedDataWithRootObject(collection));
}

NSPropertyList ExtraAppleEventDescriptorUtilities::unarchivedCollection(const NSAppleEventDescriptor& descriptor)
{
    return NSArchiver::unarchiveObjectWithData(descriptor.data());
}
