#pragma once

#include <cstddef>
#include <cstdint>

/// Fills `bytes` from the kernel's generator, which needs no seed and is fit for passwords.
///
/// Waits only where the machine has just started and the kernel has gathered nothing yet.
/// Raises: code VLR_ExceptionInternal if the kernel refuses. Nobody goes on then: without randomness there is no
/// identity, a predictable one could meet another, and a predictable password is none.
void FillWithKernelRandomness(unsigned char* bytes, std::size_t count);

/// 32 bits from the same source. Raises: as above.
uint32_t KernelRandomUInt32();
