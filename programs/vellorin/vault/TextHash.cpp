#include "TextHash.h"

#include "VLR_KernelRandom.h"
#include "VLR_SipHash.h"

#include <cstdint>

namespace {

struct HashKey {
    HashKey() { FillWithKernelRandomness(reinterpret_cast<unsigned char*>(&halves), sizeof halves); }

    uint64_t halves[2];
};

const HashKey& keyOfProcess()
{
    static const HashKey key;
    return key;
}

/// Pieces of a file, whose lengths 32 bits count.
void add(VLR_SipHash& hash, std::string_view text)
{
    hash.Add(reinterpret_cast<const unsigned char*>(text.data()), static_cast<uint32_t>(text.size()));
}

} // namespace

std::size_t TextHash::operator()(std::string_view text) const
{
    const HashKey& key = keyOfProcess();
    VLR_SipHash hash(key.halves[0], key.halves[1]);
    add(hash, text);
    return hash.Finish();
}

std::size_t TextHash::of(std::initializer_list<std::string_view> texts)
{
    const HashKey& key = keyOfProcess();
    VLR_SipHash hash(key.halves[0], key.halves[1]);
    for (const std::string_view text : texts) {
        const auto length = static_cast<uint32_t>(text.size());
        hash.Add(reinterpret_cast<const unsigned char*>(&length), sizeof length);
        add(hash, text);
    }
    return hash.Finish();
}
