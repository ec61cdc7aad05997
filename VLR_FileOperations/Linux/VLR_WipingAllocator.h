#pragma once

#include "VLR_Exception.h"
#include "VLR_System.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

/// Lets a standard container hold secrets: its storage is guarded and wiped like a memory block's.
template <class T>
class VLR_WipingAllocator {
public:
    using value_type = T;

    VLR_WipingAllocator() = default;
    template <class U>
    explicit VLR_WipingAllocator(const VLR_WipingAllocator<U>&)
    {
    }

    T* allocate(std::size_t count)
    {
        constexpr std::size_t kMost = std::numeric_limits<uint32_t>::max() / sizeof(T);
        const std::size_t size = count <= kMost ? count * sizeof(T) : std::numeric_limits<uint32_t>::max();
        return reinterpret_cast<T*>(VLR_System::Allocate(static_cast<uint32_t>(size)));
    }

    void deallocate(T* storage, std::size_t count)
    {
        VLR_System::MemWipe(storage, static_cast<uint32_t>(count * sizeof(T)));
        VLR_System::Free(reinterpret_cast<unsigned char*>(storage));
    }

    bool operator==(const VLR_WipingAllocator&) const { return true; }
};

template <class T>
using VLR_WipedVector = std::vector<T, VLR_WipingAllocator<T>>;

/// A text as UTF-16 code units. Each byte that is not part of valid UTF-8 stands as the lone unit 0xDC00 + byte, which
/// valid text can't hold.
using VLR_UTF16 = VLR_WipedVector<char16_t>;

/// The same text as code points.
using VLR_CodePoints = VLR_WipedVector<char32_t>;
