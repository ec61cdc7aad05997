#include "FuzzInput.h"

#include "NSLog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

/// Damaged input leaves log lines, a great many of them.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    silenceLog();
    return 0;
}

uint8_t FuzzInput::byte()
{
    if (left == 0)
        return 0;
    --left;
    return *next++;
}

uint16_t FuzzInput::shortNumber()
{
    const unsigned high = byte();
    return static_cast<uint16_t>(high << 8 | byte());
}

uint32_t FuzzInput::number()
{
    const uint32_t high = shortNumber();
    return high << 16 | shortNumber();
}

std::string FuzzInput::bytes(std::size_t n)
{
    const std::size_t taken = std::min(n, left);
    const std::string result(reinterpret_cast<const char*>(next), taken);
    next += taken;
    left -= taken;
    return result;
}

void expect(bool holds, const char* property)
{
    if (holds)
        return;
    std::fprintf(stderr, "PROPERTY BROKEN: %s\n", property);
    std::abort();
}
