#include "VLR_ASCIIPattern.h"

#include "VLR_System.h"

namespace {

constexpr unsigned char kAllBits = 0xFF;
constexpr unsigned char kCaseBit = 0x20;

bool IsLetter(unsigned char c)
{
    const unsigned char lower = c | kCaseBit;
    return lower >= 'a' && lower <= 'z';
}

} // namespace

VLR_ASCIIPattern::VLR_ASCIIPattern(const unsigned char* source, uint32_t length, bool caseless)
    : length(length)
{
    for (uint32_t i = 0; i < length; ++i) {
        bytes[i] = source[i];
        compared[i] = caseless && IsLetter(source[i]) ? static_cast<unsigned char>(kAllBits ^ kCaseBit) : kAllBits;
    }
}

VLR_ASCIIPattern::~VLR_ASCIIPattern()
{
    VLR_System::MemWipe(bytes, length);
}

const unsigned char* VLR_ASCIIPattern::FirstIn(const unsigned char* first, const unsigned char* last) const
{
    const unsigned char* const text = first;
    if (static_cast<uint64_t>(last - first) < length)
        return last;
    const unsigned char* const end = last - length + 1; // of the places where a match may begin
    for (; end - first >= kBlock; first += kBlock) {
        if (!MayMatchInBlock(first))
            continue;
        const unsigned char* const found = FirstAt(first, first + kBlock);
        if (found != first + kBlock)
            return found;
    }
    const bool mayLookBack = static_cast<uint64_t>(last - text) >= uint64_t { kBlock } + length - 1;
    if (first == end || (mayLookBack && !MayMatchInBlock(end - kBlock)))
        return last;
    const unsigned char* const found = FirstAt(first, end);
    return found != end ? found : last;
}

const unsigned char* VLR_ASCIIPattern::FirstAt(const unsigned char* first, const unsigned char* end) const
{
    while (first != end && !MatchesAt(first))
        ++first;
    return first;
}

/// Whether at any place of a block first and last byte fit. Without a branch, so that the places are compared at once.
bool VLR_ASCIIPattern::MayMatchInBlock(const unsigned char* first) const
{
    const unsigned char firstByte = bytes[0];
    const unsigned char firstCompared = compared[0];
    const unsigned char lastByte = bytes[length - 1];
    const unsigned char lastCompared = compared[length - 1];
    const unsigned char* const last = first + length - 1;
    unsigned char found = 0;
    for (int i = 0; i < kBlock; ++i) {
        const auto differs = static_cast<unsigned char>(
            ((first[i] ^ firstByte) & firstCompared) | ((last[i] ^ lastByte) & lastCompared));
        found = static_cast<unsigned char>(found | (differs == 0 ? 1 : 0));
    }
    return found != 0;
}

bool VLR_ASCIIPattern::MatchesAt(const unsigned char* at) const
{
    uint32_t i = 0;
    while (i < length && ((at[i] ^ bytes[i]) & compared[i]) == 0)
        ++i;
    return i == length;
}
