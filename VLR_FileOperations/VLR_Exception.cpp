#include "VLR_Exception.h"

#include "VLR_System.h"

#include <cstring>
#include <new>

VLR_Exception::VLR_Exception(const char* message, const char* file, const char* function, int line)
    : message(message, VLR_CharacterSetUTF8)
    , file(file, VLR_CharacterSetUTF8)
    , function(function, VLR_CharacterSetUTF8)
    , line(line)
{
    VLR_System::Log(message, file, function, line);
}

VLR_Exception::VLR_Exception(VLR_ExceptionCodeType code, const char* file, const char* function, int line)
    : file(file, VLR_CharacterSetUTF8)
    , function(function, VLR_CharacterSetUTF8)
    , line(line)
    , code(code)
{
}

VLR_Exception::VLR_Exception(VLR_ExceptionCodeType code, const VLR_String& message)
    : message(message)
    , code(code)
{
}

bool VLR_Exception::IsShortageOfMemory() const
{
    constexpr uint32_t kLength = sizeof VLR_System::kCantAllocate - 1;
    return message.Length() == kLength && std::memcmp(message.Bytes(), VLR_System::kCantAllocate, kLength) == 0;
}

void VLR_RethrowShortageOfMemory()
{
    try {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const VLR_Exception& failure) {
        if (failure.IsShortageOfMemory())
            throw;
    } catch (...) {
        return;
    }
}

void Breakpoint() { }
