#include "VLR_System.h"

#include "AppleEventSystem.h"
#include "ConduitEvents.h"
#include "VLR_DocumentIdentity.h"
#include "VLR_Exception.h"
#include "VLR_KernelRandom.h"
#include "VLR_OSFile.h"
#include "VLR_RandomSource.h"
#include "VLR_SystemConversions.h"

// The services of a program that people use. Preferences, keychain and dialogs have files of their own beside this one.

namespace {

constexpr VLR_RunningAppMessage kLastUsedDateChanged = 0;
constexpr LinuxAppleEventSystem::TimeOuts kBriefly { std::chrono::milliseconds(1000), std::chrono::milliseconds(500) };

constexpr uint32_t kLargestOSFile = 16 << 20;

/// docs/hand-off.md, "Messages to a running application".
AppleEvent LastUsedEvent(const ProcessSerialNumber& application, const std::string& identity)
{
    AppleEvent event;
    event.eventClass = ConduitEvents::kClass;
    event.eventID = ConduitEvents::kLastUsed;
    event.targetDescriptor
        = NSAppleEventDescriptor::descriptorWithDescriptorType(typeProcessSerialNumber, application.bytes());
    NSAppleEventDescriptor documents = NSAppleEventDescriptor::listDescriptor();
    documents.insertDescriptor(NSAppleEventDescriptor::descriptorWithDescriptorType(typeUTF8Text, identity), 0);
    event.setDescriptor(documents, keyDirectObject);
    return event;
}

void TellThatRecordWasUsed(const VLR_Document* document)
{
    const std::optional<std::string> identity = VLR_DocumentIdentity(document);
    if (!identity)
        return;
    LinuxAppleEventSystem events(kBriefly);
    const std::optional<ProcessSerialNumber> application = events.findProcess(ConduitEvents::kApplication);
    if (!application)
        return;
    AppleEvent reply; // not read
    events.AESend(LastUsedEvent(*application, *identity), reply);
}

} // namespace

void VLR_System::SendMessageToRunningApp(VLR_RunningAppMessage message, void* data)
{
    try {
        if (message == kLastUsedDateChanged)
            TellThatRecordWasUsed(static_cast<const VLR_Document*>(data));
    } catch (...) {
        return; // whoever uses a record needs no listener; an interruption stays noted, and the next wait meets it
    }
}

uint32_t VLR_System::RandomUInt32(unsigned int bound)
{
    if (bound == 0)
        return 0;
    const uint32_t surplus = (0u - bound) % bound; // 2^32 modulo the bound: so many draws would favour small numbers
    uint32_t draw = 0;
    do {
        draw = KernelRandomUInt32();
    } while (draw < surplus);
    return draw % bound;
}

long VLR_RandomDraw()
{
    return static_cast<long>(KernelRandomUInt32() >> 1);
}

int32_t VLR_System::ReadFromOSFile(VLR_OSFile& file)
{
    return VLRReadFromFile(file.data, VLRToSys(file.path), kLargestOSFile) ? 0 : VLR_ExceptionFile;
}
