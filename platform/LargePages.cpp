#include "LargePages.h"

#include <cstdint>

#include <sys/mman.h>

namespace {

constexpr std::size_t kLargePage = std::size_t { 1 } << 21;
constexpr std::size_t kPage = 4096;

std::size_t roundedUp(std::size_t size, std::size_t to)
{
    return (size + to - 1) / to * to;
}

std::size_t mappedLength(std::size_t size)
{
    if (size >= kLargePage)
        return roundedUp(size, kLargePage);
    return roundedUp(size > 0 ? size : 1, kPage);
}

/// Null if there is none.
unsigned char* map(std::size_t length, int furtherFlags)
{
    void* const mapped
        = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | furtherFlags, -1, 0);
    return mapped != MAP_FAILED ? static_cast<unsigned char*>(mapped) : nullptr;
}

} // namespace

void* LargePages::obtain(std::size_t size)
{
    const std::size_t length = mappedLength(size);
    if (length > SIZE_MAX - kLargePage || length < size)
        return nullptr;
    if (length < kLargePage)
        return map(length, MAP_POPULATE);
    // More than is wanted, so that there is a large page's boundary to begin at; the rest goes back at once.
    unsigned char* const begin = map(length + kLargePage, /*furtherFlags=*/0);
    if (begin == nullptr)
        return nullptr;
    const std::size_t before
        = roundedUp(reinterpret_cast<std::uintptr_t>(begin), kLargePage) - reinterpret_cast<std::uintptr_t>(begin);
    if (before > 0)
        ::munmap(begin, before);
    if (before < kLargePage)
        ::munmap(begin + before + length, kLargePage - before);
    ::madvise(begin + before, length, MADV_HUGEPAGE); // small pages do as well where it is refused
    return begin + before;
}

void LargePages::giveBack(void* memory, std::size_t size)
{
    ::munmap(memory, mappedLength(size));
}
