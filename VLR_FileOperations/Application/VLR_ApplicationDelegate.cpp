#include "VLR_ApplicationDelegate.h"

#include "VLR_System.h"

#include <utility>

namespace {

VLR_ApplicationDelegate* gDelegate = nullptr;

} // namespace

void VLR_ApplicationDelegate::makeReferenceConstant(VLR_PasswordData*) { }

void VLR_ApplicationDelegate::freeReferenceConstant(VLR_PasswordData*) noexcept { }

VLR_ApplicationDelegate* VLR_SetApplicationDelegate(VLR_ApplicationDelegate* delegate)
{
    return std::exchange(gDelegate, delegate);
}

bool VLR_System::DialogAskOnePassword(VLR_String& password, const VLR_Document* document, bool prefilled)
{
    return gDelegate != nullptr && gDelegate->askOnePassword(password, document, prefilled);
}

void VLR_System::AlloctatePasswordDataReferenceConstant(VLR_PasswordData* record)
{
    if (gDelegate != nullptr)
        gDelegate->makeReferenceConstant(record);
}

void VLR_System::FreePasswordDataReferenceConstant(VLR_PasswordData* record)
{
    if (gDelegate != nullptr)
        gDelegate->freeReferenceConstant(record);
}
