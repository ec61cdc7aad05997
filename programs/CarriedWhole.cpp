#include "CarriedWhole.h"

#include "NSData.h"
#include "VLR_FileTags.h"

#include <cstddef>
#include <cstdint>

namespace {

constexpr uint32_t kRecordFormatVersion = 4;

constexpr std::size_t kCacheLine = 64;
constexpr std::size_t kPrefetchAhead = 4096; // a dozen records of usual length
constexpr std::size_t kPrefetched = 6 * kCacheLine; // such a record

/// Steps over bytes without copying any. Each step is false, and takes nothing back, where the bytes don't fit it.
class Walk {
public:
    Walk(const uint8_t* bytes, std::size_t length)
        : next(bytes)
        , left(length)
    {
    }

    bool atEnd() const { return left == 0; }

    /// Asks for what lies some records ahead: without that, each step would wait for memory.
    void prefetch() const
    {
        if (left > kPrefetchAhead + kPrefetched) {
            for (std::size_t i = 0; i < kPrefetched; i += kCacheLine)
                __builtin_prefetch(next + kPrefetchAhead + i);
        }
    }

    bool skip(std::size_t count)
    {
        if (count > left)
            return false;
        next += count;
        left -= count;
        return true;
    }

    bool beginsWith(uint32_t value) const { return left >= 4 && number() == value; }
    bool exactly(uint32_t value) { return beginsWith(value) && skip(4); }

    bool chunk()
    {
        Walk content(nullptr, 0);
        return chunk(content);
    }

    bool chunk(Walk& content)
    {
        if (left < 4)
            return false;
        const uint32_t count = number();
        skip(4);
        content = Walk(next, count);
        return skip(count);
    }

private:
    uint32_t number() const
    {
        return static_cast<uint32_t>(next[0]) << 24 | static_cast<uint32_t>(next[1]) << 16
            | static_cast<uint32_t>(next[2]) << 8 | next[3];
    }

    const uint8_t* next;
    std::size_t left;
};

bool skipHeader(Walk& vault)
{
    if (vault.beginsWith(kVLR_MagicVersion4)) // may be missing; the next save adds it
        vault.skip(4);
    return vault.exactly(kVLR_TagReferenceBuffer) && vault.chunk() && vault.exactly(kVLR_TagPreferences)
        && vault.chunk() && vault.exactly(kVLR_TagDeletionList) && vault.chunk()
        && vault.exactly(kVLR_TagSyncInformation) && vault.chunk() && vault.chunk();
}

bool isRecordCarriedWhole(Walk block)
{
    return block.exactly(kRecordFormatVersion) && block.chunk() // UUID
        && block.skip(2) // collapsed, changed since sync
        && block.chunk() && block.chunk() // category, clear block
        && block.skip(4) // clear value
        && block.chunk() && block.atEnd(); // encrypted part
}

} // namespace

bool isCarriedWhole(const NSData& vault)
{
    Walk walk(vault.bytes(), vault.length());
    if (!skipHeader(walk))
        return false;
    while (!walk.atEnd()) {
        walk.prefetch();
        Walk block(nullptr, 0);
        if (!walk.exactly(kVLR_TagRecord) || !walk.chunk(block) || !isRecordCarriedWhole(block))
            return false;
    }
    return true;
}
