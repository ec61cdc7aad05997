#include "VLR_Exception.h"

#include "VLR_System.h"

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

void Breakpoint() { }
