#pragma once

/// The upper half of Mac Roman, bytes 0x80 to 0xFF, as Unicode; the lower half is ASCII.
extern const char16_t kMacRomanUpperHalf[128];
