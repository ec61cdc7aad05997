#include "VLR_ASCIIPattern.h"

#include "VLR_System.h"
#include "VLR_Unicode.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace {

constexpr unsigned char kAllBits = 0xFF;
constexpr unsigned char kCaseBit = 0x20;

bool IsLetter(unsigned char c)
{
    const unsigned char lower = c | kCaseBit;
    return lower >= 'a' && lower <= 'z';
}

/// Sixteen bytes, as a word of their own.
struct Pair {
    uint64_t halves[2];

    Pair operator^(const Pair& other) const { return { { halves[0] ^ other.halves[0], halves[1] ^ other.halves[1] } }; }
    Pair operator&(const Pair& other) const { return { { halves[0] & other.halves[0], halves[1] & other.halves[1] } }; }
    Pair operator|(const Pair& other) const { return { { halves[0] | other.halves[0], halves[1] | other.halves[1] } }; }
};

template <class Word>
Word WordAt(const unsigned char* bytes)
{
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// The highest bit of each byte that is zero, and perhaps of some above one of them.
template <class Word>
Word ZeroBytes(Word word)
{
    constexpr Word kOnes = static_cast<Word>(~Word { 0 }) / kAllBits;
    return static_cast<Word>((word - kOnes) & ~word & (kOnes << 7));
}

template <class Word>
bool HasZeroByte(Word word)
{
    return ZeroBytes(word) != 0;
}

bool HasZeroByte(const Pair& pair)
{
    return (ZeroBytes(pair.halves[0]) | ZeroBytes(pair.halves[1])) != 0;
}

} // namespace

VLR_ASCIIPattern::VLR_ASCIIPattern(const unsigned char* source, uint32_t length, bool caseless)
    : length(length)
{
    for (uint32_t i = 0; i < length; ++i) {
        bytes[i] = source[i];
        compared[i] = caseless && IsLetter(source[i]) ? static_cast<unsigned char>(kAllBits ^ kCaseBit) : kAllBits;
        mayHaveEquivalents = mayHaveEquivalents || VLR_Unicode::MayBeginEquivalent(source[i]);
    }
    std::fill(std::begin(firstByte), std::end(firstByte), bytes[0]);
    std::fill(std::begin(firstCompared), std::end(firstCompared), compared[0]);
    std::fill(std::begin(lastByte), std::end(lastByte), bytes[length - 1]);
    std::fill(std::begin(lastCompared), std::end(lastCompared), compared[length - 1]);
}

VLR_ASCIIPattern::~VLR_ASCIIPattern()
{
    VLR_System::MemWipe(bytes, length);
    VLR_System::MemWipe(firstByte, sizeof firstByte);
    VLR_System::MemWipe(lastByte, sizeof lastByte);
}

const unsigned char* VLR_ASCIIPattern::FirstIn(const unsigned char* first, const unsigned char* last) const
{
    if (static_cast<uint64_t>(last - first) < length)
        return last;
    const auto places = static_cast<std::size_t>(last - first) - length + 1; // where a match may begin
    if (places >= sizeof(Pair))
        return FirstByWords<Pair>(first, last);
    if (places >= sizeof(uint64_t))
        return FirstByWords<uint64_t>(first, last);
    if (places >= sizeof(uint32_t))
        return FirstByWords<uint32_t>(first, last);
    return FirstAt(first, first + places, last);
}

/// For as many places at least as a word has bytes. The last word takes in places that were looked at before.
template <class Word>
[[gnu::noinline]] const unsigned char* VLR_ASCIIPattern::FirstByWords(
    const unsigned char* first, const unsigned char* last) const
{
    const unsigned char* const end = last - length + 1; // of the places
    const unsigned char* const lastWord = end - sizeof(Word);
    for (; first < lastWord; first += sizeof(Word)) {
        if (!MayMatchIn<Word>(first))
            continue;
        const unsigned char* const found = FirstAt(first, first + sizeof(Word), last);
        if (found != last)
            return found;
    }
    return MayMatchIn<Word>(lastWord) ? FirstAt(first, end, last) : last;
}

/// Whether at any place of a word first and last byte fit.
template <class Word>
bool VLR_ASCIIPattern::MayMatchIn(const unsigned char* first) const
{
    const Word atFirst = (WordAt<Word>(first) ^ WordAt<Word>(firstByte)) & WordAt<Word>(firstCompared);
    const Word atLast = (WordAt<Word>(first + length - 1) ^ WordAt<Word>(lastByte)) & WordAt<Word>(lastCompared);
    return HasZeroByte(atFirst | atLast);
}

/// The first match that begins in [first, end), or `none`.
const unsigned char* VLR_ASCIIPattern::FirstAt(
    const unsigned char* first, const unsigned char* end, const unsigned char* none) const
{
    for (; first != end; ++first) {
        if (MatchesAt(first))
            return first;
    }
    return none;
}

bool VLR_ASCIIPattern::MatchesAt(const unsigned char* at) const
{
    uint32_t i = 0;
    while (i < length && ((at[i] ^ bytes[i]) & compared[i]) == 0)
        ++i;
    return i == length;
}
