#pragma once

#include <cstddef>

/// Memory straight from the kernel, zeroed, in large pages where the kernel has them to give: a file image of many
/// megabytes then costs a few page faults and not thousands.
namespace LargePages {

/// Null if there is none. Below a large page they are small ones, all had in one call. From a large page on, the last one is a whole one too: small ones at the end would cost more
/// page faults than all before them.
void* obtain(std::size_t size);

/// `size` as it was obtained with.
void giveBack(void* memory, std::size_t size);

/// From here on it pays.
inline constexpr std::size_t kWorthwhile = std::size_t { 1 } << 20;

} // namespace LargePages
