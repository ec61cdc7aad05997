#pragma once

#include "VLR_Exception.h"
#include "VLR_String.h"

#include <string>
#include <string_view>

// Between the bytes of an input and the core's blocks and texts.

inline VLR_MemoryBlock blockOf(std::string_view bytes)
{
    return VLR_MemoryBlock(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
}

/// The bytes as they are, valid UTF-8 or not.
inline VLR_String textOf(std::string_view bytes)
{
    return VLR_String(blockOf(bytes), VLR_CharacterSetUTF8);
}

inline std::string bytesOf(const VLR_MemoryBlock& block)
{
    return std::string(reinterpret_cast<const char*>(block.Bytes()), block.Length());
}

/// False if the work is refused, with the core's exception.
template <class Work>
bool succeeds(Work work)
{
    try {
        work();
        return true;
    } catch (const VLR_Exception& exception) {
        if (exception.IsShortageOfMemory())
            throw; // a count that was believed
        return false;
    }
}
