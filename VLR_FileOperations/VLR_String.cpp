#include "VLR_String.h"

#include "VLR_Array.h"
#include "VLR_Exception.h"
#include "VLR_System.h"

#include <algorithm>
#include <limits>
#include <memory>

namespace {

/// Pairs of bytes are counted until the first byte of one is zero.
uint32_t TerminatedUTF16Length(const char* text)
{
    uint32_t length = 0;
    while (text[length] != '\0')
        length += 2;
    return length;
}

uint32_t ByteCountOf(const char* text, VLR_CharacterSetType set)
{
    return set == VLR_CharacterSetUTF16Terminated ? TerminatedUTF16Length(text) : VLR_System::CStringLength(text);
}

VLR_Range WholeRangeInBytes(const VLR_String& text)
{
    return { 0, text.Length() };
}

bool IsBlank(unsigned char byte)
{
    return byte == ' ' || byte == '\t';
}

struct Tags {
    VLR_Range start;
    VLR_Range end;

    bool BothFound() const { return start != kVLR_RangeNotFound && end != kVLR_RangeNotFound; }
    bool InOrder() const { return end.location >= start.location; }
};

Tags FindTags(const VLR_String& text, const VLR_String& startTag, const VLR_String& endTag)
{
    return { VLR_System::FindRangeOfString(text, startTag, VLR_StringComparisonCaseless),
        VLR_System::FindRangeOfString(text, endTag, VLR_StringComparisonCaseless) };
}

} // namespace

template class VLR_PodBlock<VLR_Range>;

VLR_PodBlock<unsigned short>::VLR_PodBlock(const VLR_String& text)
{
    CopyFrom(text.EncodedBlock(VLR_CharacterSetUTF16));
}

VLR_String::VLR_String(const char* text, VLR_CharacterSetType set)
{
    if (text == nullptr)
        return;
    const VLR_MemoryBlock bytes(reinterpret_cast<const unsigned char*>(text), ByteCountOf(text, set));
    VLR_System::ConvertString(bytes, set, *this, VLR_CharacterSetUTF8);
}

VLR_String::VLR_String(const VLR_MemoryBlock& block, VLR_CharacterSetType set)
{
    VLR_System::ConvertString(block, set, *this, VLR_CharacterSetUTF8);
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): as with blocks, a text assigned to itself ends up empty
VLR_String& VLR_String::operator=(const VLR_String& other)
{
    CopyFrom(other);
    return *this;
}

VLR_String VLR_String::AsString() const
{
    return *this;
}

int32_t VLR_String::Compare(const VLR_Object* other) const
{
    return VLR_System::CompareStrings(*this, *static_cast<const VLR_String*>(other), VLR_StringComparisonExact);
}

int32_t VLR_String::CompareCaseless(const VLR_Object* other) const
{
    return VLR_System::CompareStrings(*this, *static_cast<const VLR_String*>(other), VLR_StringComparisonCaseless);
}

bool VLR_String::IsEqualCaseless(const VLR_Object* other) const
{
    return CompareCaseless(other) == 0;
}

void VLR_String::MemoryBlockChanged()
{
    DropRepresentation();
}

void VLR_String::DropRepresentation() const
{
    if (systemRepresentation == nullptr)
        return;
    VLR_System::SystemRepresentationDealloc(systemRepresentation);
    systemRepresentation = nullptr;
}

VLR_MemoryBlock VLR_String::EncodedBlock(VLR_CharacterSetType set) const
{
    VLR_MemoryBlock encoded;
    VLR_System::ConvertString(*this, VLR_CharacterSetUTF8, encoded, set);
    return encoded;
}

bool VLR_String::Contains(const VLR_String& text) const
{
    return VLR_System::FindRangeOfString(*this, text, VLR_StringComparisonCaseless) != kVLR_RangeNotFound;
}

bool VLR_String::HasPrefix(const VLR_String& other) const
{
    return HasAffixAt(0, other);
}

bool VLR_String::HasSuffix(const VLR_String& other) const
{
    return HasAffixAt(Length() - other.Length(), other); // wraps for a longer one, which is refused
}

/// `location` and the other's length are bytes that are used as code units; what can't be cut out is no affix.
bool VLR_String::HasAffixAt(uint32_t location, const VLR_String& other) const
{
    if (other.IsEmpty() || other.Length() > Length())
        return false;
    try {
        const VLR_String affix = VLR_System::SubstringOfRange(*this, { location, other.Length() });
        return other.Compare(&affix) == 0;
    } catch (...) {
        return false;
    }
}

void VLR_String::StripLeadingAndTrailingSpaces()
{
    VLR_Range range = WholeRangeInBytes(*this);
    while (range.length > 0 && IsBlank(Bytes()[range.location])) {
        ++range.location;
        --range.length;
    }
    while (range.length > 0 && IsBlank(Bytes()[range.location + range.length - 1]))
        --range.length;
    *this = VLR_System::SubstringOfRange(*this, range);
}

uint32_t VLR_String::FindAllRanges(const VLR_String& search, VLR_PodBlock<VLR_Range>& ranges)
{
    const StVLR_AutoSystemRepresentation whileSearching(*this);
    ranges.Resize(0);
    const uint32_t n = VLR_System::LengthOfString(search);
    const uint32_t total = VLR_System::LengthOfString(*this);
    uint32_t next = 0;
    for (;;) {
        const VLR_Range found
            = VLR_System::FindRangeOfString(*this, search, { next, total - next }, VLR_StringComparisonCaseless);
        if (found == kVLR_RangeNotFound)
            return ranges.Count();
        if (ranges.Length() == ranges.Capacity())
            ranges.ReserveForAppend(ranges.Length());
        ranges.Append(&found, sizeof found);
        // Folding may make a match longer or shorter than what is searched for; matches never overlap.
        next = std::min(total, found.location + std::max(n, found.length));
    }
}

uint32_t VLR_String::ReplaceAll(const VLR_String& search, const VLR_String& replacement)
{
    VLR_PodBlock<VLR_Range> ranges;
    const uint32_t count = FindAllRanges(search, ranges);
    if (count == 0)
        return 0;

    const VLR_PodBlock<unsigned short> units(*this);
    const VLR_PodBlock<unsigned short> inserted(replacement);
    uint64_t length = units.Length();
    for (uint32_t i = 0; i < count; ++i)
        length += inserted.Length() - uint64_t { ranges.Values()[i].length } * sizeof(unsigned short);
    VLR_PodBlock<unsigned short> output;
    output.Resize(static_cast<uint32_t>(std::min<uint64_t>(length, std::numeric_limits<uint32_t>::max())));
    unsigned short* filled = output.Values();
    uint32_t end = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const VLR_Range& range = ranges.Values()[i];
        filled = std::copy(units.Values() + end, units.Values() + range.location, filled);
        filled = std::copy(inserted.Values(), inserted.Values() + inserted.Count(), filled);
        end = range.location + range.length;
    }
    std::copy(units.Values() + end, units.Values() + units.Count(), filled);
    const VLR_String result(output, VLR_CharacterSetUTF16);
    *this = result;
    return count;
}

VLR_String VLR_String::ExtractBetween(const VLR_String& startTag, const VLR_String& endTag) const
{
    const Tags tags = FindTags(*this, startTag, endTag);
    if (!tags.BothFound())
        return VLR_String();
    if (!tags.InOrder())
        VLR_RAISE(kTagsOutOfOrder);
    const uint32_t length // wraps for equal tags, and is then refused
        = tags.end.location - tags.start.location - VLR_System::LengthOfString(startTag);
    return VLR_System::SubstringOfRange(*this, { tags.start.location + tags.start.length, length });
}

void VLR_String::ReplaceBetween(const VLR_String& startTag, const VLR_String& endTag, const VLR_String& replacement)
{
    const Tags tags = FindTags(*this, startTag, endTag);
    if (!tags.BothFound())
        return;
    if (!tags.InOrder())
        VLR_RAISE(kTagsOutOfOrder);
    const uint32_t length = tags.end.location - tags.start.location + VLR_System::LengthOfString(endTag);
    VLR_System::ReplaceRangeOfString(*this, replacement, { tags.start.location, length });
}

void VLR_String::RemoveAutotypingCharacters()
{
    static constexpr unsigned short kCharacters[] = { 0x2022, 0x00B6, 0x00A7, 0x221E, 0x00AB };
    for (const unsigned short unit : kCharacters) {
        const VLR_MemoryBlock units(reinterpret_cast<const unsigned char*>(&unit), sizeof unit);
        ReplaceAll(VLR_String(units, VLR_CharacterSetUTF16), VLR_String());
    }
}

VLR_Array<VLR_String> VLR_String::ArrayOfComponentsSeparatedByString(const VLR_String& separator) const
{
    VLR_String text(*this);
    const StVLR_AutoSystemRepresentation whileSplitting(text);
    VLR_Array<VLR_String> components;
    const auto append = [&](const VLR_Range& range) {
        auto component = std::make_unique<VLR_String>(VLR_System::SubstringOfRange(text, range));
        components.AppendObject(component.get());
        component.release(); // the array's now
    };
    VLR_Range remaining = WholeRangeInBytes(text);
    while (!separator.IsEmpty()) {
        const VLR_Range found = VLR_System::FindRangeOfString(text, separator, remaining, VLR_StringComparisonCaseless);
        if (found == kVLR_RangeNotFound)
            break;
        append({ remaining.location, found.location - remaining.location });
        remaining.location = found.location + found.length;
        remaining.length = text.Length() - remaining.location;
    }
    append(remaining);
    return components;
}

const char* VLR_String::Debug() const
{
    if (Bytes() == nullptr || IsEmpty())
        return "<empty>";
    char* const copy = new char[std::size_t { Length() } + 1]();
    VLR_System::MemCopy(copy, Bytes(), Length());
    return copy;
}

StVLR_AutoSystemRepresentation::StVLR_AutoSystemRepresentation(const VLR_String& text)
    : text(text)
    , wasThere(text.systemRepresentation != nullptr)
{
    if (!wasThere)
        text.systemRepresentation = VLR_System::SystemRepresentationAlloc(text);
}

StVLR_AutoSystemRepresentation::~StVLR_AutoSystemRepresentation()
{
    if (!wasThere)
        text.DropRepresentation();
}
