#include "VLR_System.h"

#include "VLR_RandomSource.h"

#include <cstdlib>

// The services as a program without a user answers them: nothing is preferred, asked or told. The core's callers are
// written to work with these answers.

int32_t VLR_System::GetPreference(VLRPref_Type, int)
{
    return 0; // whatever the default: the callers' defaults are 0
}

bool VLR_System::KeychainPassword(VLR_String&, VLR_Document*)
{
    return false;
}

bool VLR_System::DialogAskOnePassword(VLR_String&, const VLR_Document*, bool)
{
    return false;
}

uint32_t VLR_System::RandomUInt32(unsigned int)
{
    return 0; // nothing in this host generates passwords
}

void VLR_System::SendMessageToRunningApp(VLR_RunningAppMessage, void*) { }

int32_t VLR_System::ReadFromOSFile(VLR_OSFile&)
{
    return 0; // success, with no data
}

void VLR_System::AlloctatePasswordDataReferenceConstant(VLR_PasswordData*) { }

void VLR_System::FreePasswordDataReferenceConstant(VLR_PasswordData*) { }

long VLR_RandomDraw()
{
    return ::random();
}
