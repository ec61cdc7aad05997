#pragma once

#include <cstdint>

// The framing of every allocation that may hold a secret: total size (UInt32), beginning guard, payload, ending guard.
//
//   offset 0      4 bytes  total size, payload + 12, host byte order
//   offset 4      4 bytes  beginning guard, the word 0x11223344 in host byte order
//   offset 8      n bytes  payload
//   offset 8 + n  4 bytes  ending guard, the bytes 11 22 33 44

inline constexpr uint32_t kGuardFraming = 12;
inline constexpr uint32_t kGuardPayloadOffset = 8;

// For inspection only; nothing decides by them. Plain 32-bit numbers, which may wrap.
extern uint32_t gAllocationCount;
extern uint32_t gFreeCount;
extern uint32_t gAllocationBytesCurrentTotal;
extern uint32_t gAllocationBytesHighWaterTotal;

/// An address on the stack of the thread that started the program, taken before any user of the core runs.
extern unsigned char* gStackTop;

/// Frames the raw allocation at `base`, of `totalSize` bytes framing included, and counts it.
void SetGuards(unsigned char* base, unsigned int totalSize);

/// Tests the framing of a payload; null is accepted and does nothing. With `freeing` it also counts the release.
/// Raises: kBadBeginningGuard, kBadEndingGuard, with the counters untouched.
void CheckGuards(unsigned char* payload, bool freeing);

/// An address inside this call's own stack frame.
void* StackTop();

/// Catches objects on the stack where a heap object is needed.
/// Raises: kAddressOnStack if the address lies between here and gStackTop, both included.
void AssertAddressOnStack(void* address);

inline constexpr char kBadBeginningGuard[] = "Bad beginning guard.";
inline constexpr char kBadEndingGuard[] = "Bad ending guard.";
inline constexpr char kAddressOnStack[] = "address on stack not allowed";
