#include "VLR_System.h"

#include "VLR_ASCIIPattern.h"
#include "VLR_StretchReader.h"
#include "VLR_String.h"
#include "VLR_SystemRepresentation.h"
#include "VLR_TextSearch.h"

#include <algorithm>
#include <iterator>
#include <span>

// A find asks for each text of each record. What most of them don't need stands in functions of its own that are not
// inlined, so that it costs the others no frame.

namespace {

VLR_Range RangeOf(
    const VLR_ASCIIPattern& pattern, const VLR_String& text, const unsigned char* first, const unsigned char* last)
{
    const unsigned char* const found = pattern.FirstIn(first, last);
    return found != last ? VLR_Range { static_cast<uint32_t>(found - text.Bytes()), pattern.Length() }
                         : kVLR_RangeNotFound;
}

VLR_Range FindASCII(const VLR_String& text, const VLR_String& search, const VLR_Range& within, bool caseless)
{
    const unsigned char* const first = text.Bytes() + within.location;
    const unsigned char* const last = first + within.length;
    if (search.Length() <= VLR_ASCIIPattern::kLongest)
        return RangeOf(VLR_ASCIIPattern(search.Bytes(), search.Length(), caseless), text, first, last);
    const auto at = [caseless](const VLR_String& string) {
        return [bytes = string.Bytes(), caseless](
                   std::size_t i) { return caseless ? VLR_Unicode::FoldASCII(bytes[i]) : bytes[i]; };
    };
    const std::size_t end = std::size_t { within.location } + within.length;
    const std::size_t found
        = VLR_FirstMatch(at(search), search.Length(), at(text), within.location, end, [](std::size_t) { return true; });
    if (found == end)
        return kVLR_RangeNotFound;
    return { static_cast<uint32_t>(found), search.Length() };
}

VLR_Range FindByKeys(const VLR_SystemRepresentation& text, const VLR_SystemRepresentation& search,
    const VLR_Range& within, VLR_StringComparisonType type)
{
    const VLR_SystemRepresentation::SearchKey& key = text.Key(type);
    const VLR_CodePoints& pattern = search.Key(type).codePoints;
    const auto& boundaries = key.boundaries;
    const auto isBefore = [&](uint32_t place, uint64_t location) { return boundaries[place] < location; };
    const auto firstPlace = std::lower_bound(key.places.begin(), key.places.end(), within.location, isBefore);
    const auto behindLast
        = std::lower_bound(firstPlace, key.places.end(), uint64_t { within.location } + within.length + 1, isBefore);
    if (firstPlace == behindLast)
        return kVLR_RangeNotFound; // the range lies inside one character

    const auto isWhole = [&](std::size_t start) {
        return boundaries[start] != VLR_SystemRepresentation::kInside
            && boundaries[start + pattern.size()] != VLR_SystemRepresentation::kInside;
    };
    const std::size_t end = *std::prev(behindLast);
    const std::size_t found = VLR_FirstMatch([&](std::size_t i) { return pattern[i]; }, pattern.size(),
        [&](std::size_t i) { return key.codePoints[i]; }, *firstPlace, end, isWhole);
    if (found == end)
        return kVLR_RangeNotFound;
    return { boundaries[found], boundaries[found + pattern.size()] - boundaries[found] };
}

/// Whether a match of ASCII text that ends at `place` ends between two characters, and not before a mark that belongs
/// to its last letter.
bool EndsAtBoundary(const VLR_String& text, const unsigned char* place)
{
    auto offset = static_cast<uint32_t>(place - text.Bytes());
    if (offset == text.Length() || *place < VLR_Unicode::kFirstBeyondASCII)
        return true;
    return VLR_Unicode::HasBoundaryBefore(VLR_Unicode::CodePointAt(text.Bytes(), text.Length(), offset));
}

/// The range of a match of ASCII text at `found`. A text that is not valid has none.
[[gnu::noinline]] VLR_Range RangeInUnits(const VLR_String& text, const unsigned char* found, uint32_t length)
{
    const auto before = static_cast<uint32_t>(found - text.Bytes());
    if (VLR_Unicode::IsASCII(text))
        return { before, length };
    const uint32_t location = VLR_Unicode::CountUnits(text.Bytes(), before);
    const uint32_t behind = VLR_Unicode::CountUnits(found, text.Length() - before);
    const bool isValid = location != VLR_Unicode::kNoUnits && behind != VLR_Unicode::kNoUnits;
    return isValid ? VLR_Range { location, length } : kVLR_RangeNotFound;
}

/// The first match in the bytes of a whole text that holds no equivalent of ASCII, so that it can stand nowhere but
/// where the bytes match.
VLR_Range FindInBytes(const VLR_String& text, const VLR_ASCIIPattern& pattern)
{
    const unsigned char* const last = text.Bytes() + text.Length();
    const unsigned char* found = pattern.FirstIn(text.Bytes(), last);
    while (found != last && !EndsAtBoundary(text, found + pattern.Length()))
        found = pattern.FirstIn(found + 1, last);
    return found != last ? RangeInUnits(text, found, pattern.Length()) : kVLR_RangeNotFound;
}

/// The first match in a whole text, without a key of it all. A text that turns out not to be valid has none.
VLR_Range FindInStretches(const VLR_String& text, const VLR_SystemRepresentation::SearchPattern& pattern)
{
    const VLR_CodePoints& wanted = *pattern.key;
    const std::size_t length = wanted.size();
    VLR_StretchReader stretches(text, 0, *pattern.buffers);
    uint32_t starts[VLR_SystemRepresentation::SearchPattern::kLongest]
        = {}; // of the stretch at each of the last places
    std::size_t place = 0; // modulo length
    std::size_t matched = 0;
    uint32_t location = 0;
    VLR_Range found = kVLR_RangeNotFound;
    for (; stretches.Next(); location += stretches.UnitCount()) {
        const std::span<const char32_t> key = stretches.Key();
        for (std::size_t i = 0; i < key.size(); ++i) {
            starts[place] = i == 0 ? location : VLR_SystemRepresentation::kInside;
            place = place + 1 == length ? 0 : place + 1;
            while (matched > 0 && (matched == length || key[i] != wanted[matched]))
                matched = pattern.borders[matched];
            if (key[i] == wanted[matched])
                ++matched;
            const bool endsHere = matched == length && i + 1 == key.size();
            if (endsHere && found == kVLR_RangeNotFound && starts[place] != VLR_SystemRepresentation::kInside)
                found = { starts[place], location + stretches.UnitCount() - starts[place] };
        }
    }
    return stretches.IsValid() ? found : kVLR_RangeNotFound;
}

/// Whether the bytes of a text alone tell where it has the pattern.
bool IsFoundByBytes(const VLR_String& text, const VLR_SystemRepresentation::SearchPattern& pattern)
{
    return pattern.ascii
        && (!pattern.ascii->MayHaveEquivalents() || VLR_Unicode::IsASCII(text.Bytes(), text.Length())
            || !VLR_Unicode::HoldsEquivalentOfASCII(text.Bytes(), text.Length()));
}

[[gnu::noinline]] VLR_Range FindBeyondBytes(const VLR_String& text, const VLR_String& search,
    const VLR_SystemRepresentation& what, VLR_StringComparisonType type)
{
    if (!what.IsValid())
        return kVLR_RangeNotFound;
    const VLR_SystemRepresentation::SearchPattern& pattern = what.Pattern(type);
    if (VLR_Unicode::IsASCII(text)) {
        if (!pattern.keyIsASCII)
            return kVLR_RangeNotFound;
        if (VLR_Unicode::IsASCII(search)) // and long
            return FindASCII(text, search, { 0, text.Length() }, type == VLR_StringComparisonCaseless);
    }
    if (!pattern.borders.empty())
        return FindInStretches(text, pattern);
    const VLR_SystemRepresentation where(text);
    if (!where.IsValid())
        return kVLR_RangeNotFound;
    return FindByKeys(where, what, { 0, static_cast<uint32_t>(where.Units().size()) }, type);
}

/// In a whole text, of which no representation is kept.
VLR_Range FindPrepared(const VLR_String& text, const VLR_String& search, const VLR_SystemRepresentation& what,
    VLR_StringComparisonType type)
{
    const VLR_SystemRepresentation::SearchPattern& pattern = what.Pattern(type);
    return IsFoundByBytes(text, pattern) ? FindInBytes(text, *pattern.ascii)
                                         : FindBeyondBytes(text, search, what, type);
}

[[gnu::noinline]] VLR_Range FindUnprepared(
    const VLR_String& text, const VLR_String& search, VLR_StringComparisonType type)
{
    if (VLR_Unicode::IsASCII(text) && VLR_Unicode::IsASCII(search))
        return FindASCII(text, search, { 0, text.Length() }, type == VLR_StringComparisonCaseless);
    return FindPrepared(text, search, VLR_SystemRepresentation(search), type);
}

} // namespace

VLR_Range VLR_System::FindRangeOfString(
    const VLR_String& text, const VLR_String& search, const VLR_Range& within, VLR_StringComparisonType type)
{
    const uint64_t end = uint64_t { within.location } + within.length;
    if (text.systemRepresentation == nullptr && VLR_Unicode::IsASCII(text) && VLR_Unicode::IsASCII(search)) {
        if (end > text.Length())
            VLR_RaiseRangeFailure();
        if (search.IsEmpty())
            return kVLR_RangeNotFound;
        return FindASCII(text, search, within, type == VLR_StringComparisonCaseless);
    }
    const StVLR_Representation where(text);
    const StVLR_Representation what(search);
    if (!where->IsValid() || !what->IsValid())
        return kVLR_RangeNotFound;
    if (end > where->Units().size())
        VLR_RaiseRangeFailure();
    if (search.IsEmpty())
        return kVLR_RangeNotFound;
    return FindByKeys(*where, *what, within, type);
}

VLR_Range VLR_System::FindRangeOfString(const VLR_String& text, const VLR_String& search, VLR_StringComparisonType type)
{
    if (search.IsEmpty())
        return kVLR_RangeNotFound;
    if (text.systemRepresentation != nullptr)
        return FindRangeOfString(text, search, { 0, LengthOfString(text) }, type);
    if (const auto* const prepared = static_cast<const VLR_SystemRepresentation*>(search.systemRepresentation))
        return FindPrepared(text, search, *prepared, type);
    return FindUnprepared(text, search, type);
}
