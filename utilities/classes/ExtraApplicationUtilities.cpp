#include "ExtraApplicationUtilities.h"

void ExtraApplicationUtilities::bringToFront(NSApplication& application)
{
    application.activate();
}

NSPropertyList::Dictionary ExtraApplicationUtilities::frontProcessInformation(const NSWorkspace& workspace)
{
    const std::optional<ProcessSerialNumber> front = workspace.GetFrontProcess();
    return front ? workspace.ProcessInformationCopyDictionary(*front) : NSPropertyList::Dictionary();
}
