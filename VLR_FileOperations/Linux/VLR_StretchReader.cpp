#include "VLR_StretchReader.h"

#include <unicode/utf8.h>

void VLR_StretchReader::ReadLongStretch()
{
    VLR_UTF16& units = buffers.units;
    units.clear();
    buffers.key.clear();
    do {
        if (!VLR_Unicode::DecodeNext(bytes, length, offset, units))
            isValid = false;
    } while (offset < length && !IsAtBoundary());
    buffers.maker.Append(units.data(), units.data() + units.size());
    key = buffers.key;
    unitCount = static_cast<uint32_t>(units.size());
}

bool VLR_StretchReader::IsAtBoundary() const
{
    uint32_t behind = offset;
    UChar32 codePoint = 0;
    U8_NEXT(bytes, behind, length, codePoint);
    return codePoint < 0 || VLR_Unicode::HasBoundaryBefore(static_cast<char32_t>(codePoint));
}
