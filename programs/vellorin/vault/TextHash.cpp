#include "TextHash.h"

#include "VLR_KernelRandom.h"
#include "VLR_SipHash.h"

#include <cstdint>

namespace {

struct HashKey {
    HashKey() { FillWithKernelRandomness(reinterpret_cast<unsigned char*>(&halves), sizeof halves); }

    uint64_t halves[2];
};

} // namespace

std::size_t TextHash::of(std::initializer_list<std::string_view> texts)
{
    static const HashKey key;
    VLR_SipHash hash(key.halves[0], key.halves[1]);
    for (const std::string_view text : texts) {
        const auto length = static_cast<uint32_t>(text.size()); // of a piece of a file, which 32 bits count
        hash.Add(reinterpret_cast<const unsigned char*>(&length), sizeof length);
        hash.Add(reinterpret_cast<const unsigned char*>(text.data()), length);
    }
    return hash.Finish();
}
