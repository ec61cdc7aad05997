#include "VLR_KernelRandom.h"

#include "VLR_Exception.h"

#include <sys/random.h>

#include <cerrno>

void FillWithKernelRandomness(unsigned char* bytes, std::size_t count)
{
    while (count > 0) {
        const ssize_t got = ::getrandom(bytes, count, 0);
        if (got < 0 && errno != EINTR)
            VLR_RAISE_CODE(VLR_ExceptionInternal);
        if (got > 0) {
            bytes += got;
            count -= static_cast<std::size_t>(got);
        }
    }
}

uint32_t KernelRandomUInt32()
{
    uint32_t value = 0;
    FillWithKernelRandomness(reinterpret_cast<unsigned char*>(&value), sizeof value);
    return value;
}
