#include "FuzzHost.h"

#include "FuzzTexts.h"
#include "VLR_OSFile.h"
#include "VLR_RandomSource.h"
#include "VLR_System.h"

FuzzHost& FuzzHost::get()
{
    static FuzzHost host;
    return host;
}

uint32_t FuzzHost::draw()
{
    uint32_t number = 0;
    for (int i = 0; i < 4 && !draws.empty(); ++i, ++drawn)
        number = number << 8 | static_cast<unsigned char>(draws[drawn % draws.size()]);
    return number;
}

int32_t VLR_System::GetPreference(VLRPref_Type, int)
{
    return 0;
}

bool VLR_System::KeychainPassword(VLR_String&, VLR_Document*)
{
    return false;
}

bool VLR_System::DialogAskOnePassword(VLR_String&, const VLR_Document*, bool)
{
    return false;
}

uint32_t VLR_System::RandomUInt32(unsigned int bound)
{
    expect(bound != 0, "nobody asks for a number below 0");
    return FuzzHost::get().draw() % bound;
}

long VLR_RandomDraw()
{
    return static_cast<long>(FuzzHost::get().draw() & 0x7FFFFFFF);
}

void VLR_System::SendMessageToRunningApp(VLR_RunningAppMessage, void*) { }

int32_t VLR_System::ReadFromOSFile(VLR_OSFile& file)
{
    file.data = blockOf(FuzzHost::get().file);
    return 0;
}

void VLR_System::AlloctatePasswordDataReferenceConstant(VLR_PasswordData*) { }

void VLR_System::FreePasswordDataReferenceConstant(VLR_PasswordData*) { }
