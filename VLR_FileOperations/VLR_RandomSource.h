#pragma once

/// One draw for the generators of words and phonetic pairs: a number from 0 to 2^31 - 1, each as likely as any other.
///
/// The host's own answer, like those of VLR_System. The action's host draws from the system library's `random`, which
/// nobody seeds there, so that its sequence is the same in every process and fit for tests alone. A host that generates
/// passwords for people draws from the kernel: 31 bits of randomness a draw, none of them known from other draws.
/// Raises: code VLR_ExceptionInternal if the host's source fails.
long VLR_RandomDraw();
