#include "ScarceMemory.h"

#include <cstdlib>
#include <new>

bool ScarceMemory::grant()
{
    if (left == 0) {
        ++shortages;
        if (failsOnce)
            left = SIZE_MAX;
        return false;
    }
    --left;
    return true;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return ScarceMemory::grant() ? std::malloc(size > 0 ? size : 1) : nullptr;
}

void* operator new(std::size_t size)
{
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
