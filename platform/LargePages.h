#pragma once

#include <cstddef>

/// Memory straight from the kernel, zeroed, in large pages where the kernel has them to give: a file image of many
/// megabytes then costs a few page faults and not thousands.
namespace LargePages {

/// Null if there is none.
void* obtain(std::size_t size);

/// The bytes that are there for this size. Whole large pages where there is at least one: small ones at the end would
/// cost more page faults than all before them.
std::size_t lengthFor(std::size_t size);

/// `size` as it was obtained with, or another one with the same length.
void giveBack(void* memory, std::size_t size);

/// From here on it pays.
inline constexpr std::size_t kWorthwhile = std::size_t { 1 } << 20;

} // namespace LargePages
