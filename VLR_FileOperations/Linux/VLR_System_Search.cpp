#include "VLR_System.h"

#include "VLR_ASCIIPattern.h"
#include "VLR_StretchReader.h"
#include "VLR_String.h"
#include "VLR_SystemRepresentation.h"
#include "VLR_TextSearch.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace {

VLR_Range RangeOf(
    const VLR_ASCIIPattern& pattern, const VLR_String& text, const unsigned char* first, const unsigned char* last)
{
    const unsigned char* const found = pattern.FirstIn(first, last);
    return found != last ? VLR_Range { static_cast<uint32_t>(found - text.Bytes()), pattern.Length() } : kVLR_RangeNotFound;
}

VLR_Range FindASCII(const VLR_String& text, const VLR_String& search, const VLR_Range& within, bool caseless)
{
    const unsigned char* const first = text.Bytes() + within.location;
    const unsigned char* const last = first + within.length;
    if (search.Length() <= VLR_ASCIIPattern::kLongest)
        return RangeOf(VLR_ASCIIPattern(search.Bytes(), search.Length(), caseless), text, first, last);
    const auto at = [caseless](const VLR_String& string) {
        return [bytes = string.Bytes(), caseless](std::size_t i) {
            return caseless ? VLR_Unicode::FoldASCII(bytes[i]) : bytes[i];
        };
    };
    const std::size_t end = std::size_t { within.location } + within.length;
    const std::size_t found = VLR_FirstMatch(
        at(search), search.Length(), at(text), within.location, end, [](std::size_t) { return true; });
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
    const auto behindLast = std::lower_bound(
        firstPlace, key.places.end(), uint64_t { within.location } + within.length + 1, isBefore);
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

/// The first match in a whole text, without a key of it all. A text that turns out not to be valid has none.
VLR_Range FindInStretches(const VLR_String& text, const VLR_SystemRepresentation::SearchPattern& pattern)
{
    const VLR_CodePoints& wanted = *pattern.key;
    const std::size_t length = wanted.size();
    VLR_StretchReader stretches(text, 0, *pattern.buffers);
    uint32_t starts[VLR_SystemRepresentation::SearchPattern::kLongest] = {}; // of the stretch at each of the last places
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

VLR_Range VLR_System::FindRangeOfString(
    const VLR_String& text, const VLR_String& search, VLR_StringComparisonType type)
{
    if (search.IsEmpty())
        return kVLR_RangeNotFound;
    if (text.systemRepresentation != nullptr)
        return FindRangeOfString(text, search, { 0, LengthOfString(text) }, type);
    const bool textIsASCII = VLR_Unicode::IsASCII(text);
    if (textIsASCII && search.systemRepresentation == nullptr && VLR_Unicode::IsASCII(search))
        return FindASCII(text, search, { 0, text.Length() }, type == VLR_StringComparisonCaseless);
    const StVLR_Representation what(search);
    if (!what->IsValid())
        return kVLR_RangeNotFound;
    const VLR_SystemRepresentation::SearchPattern& pattern = what->Pattern(type);
    if (textIsASCII && pattern.ascii)
        return RangeOf(*pattern.ascii, text, text.Bytes(), text.Bytes() + text.Length());
    if (textIsASCII && !pattern.keyIsASCII)
        return kVLR_RangeNotFound;
    if (textIsASCII && VLR_Unicode::IsASCII(search)) // and long
        return FindASCII(text, search, { 0, text.Length() }, type == VLR_StringComparisonCaseless);
    if (!pattern.borders.empty())
        return FindInStretches(text, pattern);
    const VLR_SystemRepresentation where(text);
    if (!where.IsValid())
        return kVLR_RangeNotFound;
    return FindByKeys(where, *what, { 0, static_cast<uint32_t>(where.Units().size()) }, type);
}
