#include "VLR_TextRepresentations.h"

#include "VLR_String.h"
#include "VLR_System.h"

#include <algorithm>

namespace {

bool IsASCII(const VLR_String& text)
{
    return std::all_of(text.Bytes(), text.Bytes() + text.Length(), [](unsigned char byte) { return byte < 0x80; });
}

} // namespace

StVLR_TextRepresentations::~StVLR_TextRepresentations()
{
    for (const VLR_String* const text : kept)
        text->DropRepresentation();
}

void StVLR_TextRepresentations::Keep(const VLR_String& text)
{
    if (text.systemRepresentation != nullptr || text.Length() <= kLongestCheapText || IsASCII(text))
        return;
    kept.push_back(&text);
    text.systemRepresentation = VLR_System::SystemRepresentationAlloc(text);
}
