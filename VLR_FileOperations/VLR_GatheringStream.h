#pragma once

#include "VLR_Stream.h"

#include <cstdint>
#include <utility>
#include <vector>

/// Bytes that somebody else keeps.
struct VLR_ForeignBytes {
    const unsigned char* bytes = nullptr;
    uint32_t length = 0;
};

/// A stream to write to whose store is a list of pieces, for a file that mostly repeats bytes which are in memory
/// already: what lies in one of its sources, or repeats what stands there next, is referred to, and only the rest is
/// copied.
///
/// The pieces one after the other are the very bytes that were written, whatever the sources hold; these decide about
/// the memory alone. It can't be read from.
class VLR_GatheringStream final : public VLR_Stream {
public:
    /// The sources stay as they are for as long as the pieces are used.
    explicit VLR_GatheringStream(std::vector<VLR_ForeignBytes> sources)
        : sources(std::move(sources))
    {
    }

    /// In the order of writing, none of them empty; valid until more is written.
    std::vector<VLR_ForeignBytes> Pieces() const;

    uint32_t VirtualLength() const override { return length; }
    bool VirtualGetBytes(void*, uint32_t, uint32_t) const override { return false; }
    void VirtualAppendBytes(const void* source, uint32_t n) override;

private:
    struct Piece {
        const unsigned char* bytes; // null if they are own ones
        uint32_t length;
    };

    bool RepeatsWhatIsNext(const unsigned char* bytes, uint32_t n) const;
    void Refer(const unsigned char* bytes, uint32_t n, const unsigned char* end);
    void CopyOwn(const unsigned char* bytes, uint32_t n);

    std::vector<VLR_ForeignBytes> sources;
    std::vector<Piece> pieces;
    VLR_MemoryBlock own; // the bytes of all own pieces
    uint32_t length = 0;
    const unsigned char* next = nullptr; // in a source, right behind the last piece; null if that is an own one
    const unsigned char* sourceEnd = nullptr; // of that source
};
