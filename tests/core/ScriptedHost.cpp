#include "ScriptedHost.h"

#include "CoreFixture.h"
#include "VLR_OSFile.h"
#include "VLR_System.h"

ScriptedHost& ScriptedHost::get()
{
    static ScriptedHost host;
    return host;
}

int32_t VLR_System::GetPreference(VLRPref_Type key, int defaultValue)
{
    const auto found = ScriptedHost::get().preferences.find(key);
    return found != ScriptedHost::get().preferences.end() ? found->second : defaultValue;
}

bool VLR_System::KeychainPassword(VLR_String& password, VLR_Document*)
{
    ScriptedHost& host = ScriptedHost::get();
    host.asked += "keychain ";
    if (host.keychain)
        password = S(*host.keychain);
    return host.keychain.has_value();
}

bool VLR_System::DialogAskOnePassword(VLR_String& password, const VLR_Document*, bool prefilled)
{
    ScriptedHost& host = ScriptedHost::get();
    host.asked += "dialog(" + str(password) + (prefilled ? ",prefilled) " : ") ");
    if (host.dialog.empty() || !host.dialog.front())
        return false;
    password = S(*host.dialog.front());
    host.dialog.pop_front();
    return true;
}

uint32_t VLR_System::RandomUInt32(unsigned int)
{
    return 0;
}

void VLR_System::SendMessageToRunningApp(VLR_RunningAppMessage message, void* data)
{
    ScriptedHost::get().asked += "message " + std::to_string(message) + (data != nullptr ? " document " : " ");
}

int32_t VLR_System::ReadFromOSFile(VLR_OSFile&)
{
    return 0;
}

void VLR_System::AlloctatePasswordDataReferenceConstant(VLR_PasswordData*)
{
    ++ScriptedHost::get().recordsMade;
}

void VLR_System::FreePasswordDataReferenceConstant(VLR_PasswordData*)
{
    ++ScriptedHost::get().recordsGone;
}
