#include "ScriptedHost.h"

#include "CoreFixture.h"
#include "VLR_OSFile.h"
#include "VLR_RandomSource.h"
#include "VLR_System.h"

#include <fstream>
#include <iterator>

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

namespace {

template <class Number>
Number next(std::deque<Number>& answers)
{
    if (answers.empty())
        return 0;
    const Number answer = answers.front();
    answers.pop_front();
    return answer;
}

} // namespace

uint32_t VLR_System::RandomUInt32(unsigned int bound)
{
    ScriptedHost& host = ScriptedHost::get();
    host.bounds += std::to_string(bound) + " ";
    const uint32_t answer = next(host.numbers);
    EXPECT_LT(answer, bound) << "the script keeps the host's promise";
    return answer < bound ? answer : 0;
}

long VLR_RandomDraw()
{
    ++ScriptedHost::get().drawn;
    return next(ScriptedHost::get().draws);
}

void VLR_System::SendMessageToRunningApp(VLR_RunningAppMessage message, void* data)
{
    ScriptedHost::get().asked += "message " + std::to_string(message) + (data != nullptr ? " document " : " ");
}

int32_t VLR_System::ReadFromOSFile(VLR_OSFile& file)
{
    constexpr int32_t kNoSuchFile = -43;
    if (ScriptedHost::get().readResult != 0)
        return ScriptedHost::get().readResult;
    std::ifstream stream(str(file.path), std::ios::binary);
    file.data = S({ std::istreambuf_iterator<char>(stream), {} });
    return stream ? 0 : kNoSuchFile;
}

void VLR_System::AlloctatePasswordDataReferenceConstant(VLR_PasswordData*)
{
    ++ScriptedHost::get().recordsMade;
}

void VLR_System::FreePasswordDataReferenceConstant(VLR_PasswordData*)
{
    ++ScriptedHost::get().recordsGone;
}
