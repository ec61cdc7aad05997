#include "VLR_System.h"

#include "NSBeep.h"
#include "NSBundle.h"
#include "VLR_Exception.h"
#include "VLR_KernelRandom.h"

#include <cstdio>
#include <ctime>

VLR_String* gExpressOpenPassword_ = nullptr;

namespace {

constexpr std::time_t k1970To2001 = 978307200;

constexpr const char* kResourceNames[] = { "RandomWordsDictionaryShort", "RandomWordsDictionary", "Phonemes" };
constexpr char kResourceType[] = "txt";

} // namespace

uint32_t VLR_System::SecondsSince2001()
{
    return static_cast<uint32_t>(std::time(nullptr) - k1970To2001);
}

VLR_String VLR_System::NewUUID()
{
    unsigned char b[16];
    FillWithKernelRandomness(b, sizeof b);
    b[6] = static_cast<unsigned char>((b[6] & 0x0F) | 0x40); // version 4: random
    b[8] = static_cast<unsigned char>((b[8] & 0x3F) | 0x80); // the usual variant
    char text[37];
    std::snprintf(text, sizeof text, "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", b[0], b[1],
        b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
    return VLR_String(text, VLR_CharacterSetUTF8);
}

VLR_String VLR_System::NewUUID(unsigned int a, unsigned char b, unsigned short c)
{
    char text[37];
    std::snprintf(text, sizeof text, "00000000-0000-0000-%04X-%08lX%04X", c, static_cast<unsigned long>(a), b);
    return VLR_String(text, VLR_CharacterSetUTF8);
}

VLR_String VLR_System::StdioPathToFile(VLR_FilePathType type)
{
    if (type < VLR_FilePathDictionaryShort || type > VLR_FilePathPhonemes)
        VLR_RAISE_CODE(VLR_ExceptionFile);
    const std::string path = NSBundle::mainBundle().pathForResource(kResourceNames[type], kResourceType);
    return VLR_String(path.c_str(), VLR_CharacterSetUTF8);
}

void VLR_System::Beep()
{
    NSBeep();
}

const VLR_String* VLR_System::ExpressOpenPassword()
{
    return gExpressOpenPassword_;
}

void VLR_System::SetExpressOpenPassword(const VLR_String* password)
{
    VLR_String* const copy = password != nullptr ? new VLR_String(*password) : nullptr; // it may be the held one
    delete gExpressOpenPassword_;
    gExpressOpenPassword_ = copy;
}

void VLR_System::SetExpressOpenPassword(const VLR_String& password)
{
    SetExpressOpenPassword(&password);
}
