#include "VLR_GatheringStream.h"

#include "VLR_Exception.h"
#include "VLR_System.h"

#include <cstring>
#include <functional>
#include <limits>

namespace {

constexpr uint32_t kLongestRepetition = 64; // longer pieces come with the address of what they repeat

/// True if all of the bytes lie in the source.
bool LiesIn(const VLR_ForeignBytes& source, const unsigned char* bytes, uint32_t n)
{
    const std::less_equal<> notBehind; // a comparison with < is only for addresses of one object
    return n <= source.length && notBehind(source.bytes, bytes) && notBehind(bytes, source.bytes + (source.length - n));
}

} // namespace

void VLR_GatheringStream::VirtualAppendBytes(const void* source, uint32_t n)
{
    if (n > std::numeric_limits<uint32_t>::max() - length)
        VLR_RAISE(VLR_System::kCantAllocate);
    if (n == 0)
        return;
    const auto* const bytes = static_cast<const unsigned char*>(source);
    if (RepeatsWhatIsNext(bytes, n)) {
        Refer(next, n, sourceEnd);
        return;
    }
    for (const VLR_ForeignBytes& candidate : sources) {
        if (LiesIn(candidate, bytes, n)) {
            Refer(bytes, n, candidate.bytes + candidate.length);
            return;
        }
    }
    CopyOwn(bytes, n);
}

bool VLR_GatheringStream::RepeatsWhatIsNext(const unsigned char* bytes, uint32_t n) const
{
    if (next == nullptr || n > static_cast<std::size_t>(sourceEnd - next))
        return false;
    return bytes == next || (n <= kLongestRepetition && std::memcmp(bytes, next, n) == 0);
}

void VLR_GatheringStream::Refer(const unsigned char* bytes, uint32_t n, const unsigned char* end)
{
    if (bytes == next)
        pieces.back().length += n;
    else
        pieces.push_back({ bytes, n });
    length += n;
    next = bytes + n;
    sourceEnd = end;
}

void VLR_GatheringStream::CopyOwn(const unsigned char* bytes, uint32_t n)
{
    own.ReserveForAppend(n);
    own.Append(bytes, n);
    if (!pieces.empty() && pieces.back().bytes == nullptr)
        pieces.back().length += n;
    else
        pieces.push_back({ nullptr, n });
    length += n;
    next = nullptr;
}

std::vector<VLR_ForeignBytes> VLR_GatheringStream::Pieces() const
{
    std::vector<VLR_ForeignBytes> result;
    result.reserve(pieces.size());
    const unsigned char* nextOwn = own.Bytes();
    for (const Piece& piece : pieces) {
        result.push_back({ piece.bytes != nullptr ? piece.bytes : nextOwn, piece.length });
        if (piece.bytes == nullptr)
            nextOwn += piece.length;
    }
    return result;
}
