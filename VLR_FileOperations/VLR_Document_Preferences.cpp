#include "VLR_Document.h"

#include "VLR_Exception.h"
#include "VLR_System.h"

namespace {

constexpr uint32_t kPreferencesVersion = 4;
constexpr uint32_t kOldestPreferencesVersion = 2;

constexpr int32_t kOverrideOn = 1;
constexpr int32_t kOverrideOff = 2;

/// The application's preference may force the flag off or on, whatever a file says.
int8_t OverriddenFlag(int8_t asRead)
{
    switch (VLR_System::GetPreference(VLRPref_DocumentFlagOverride, 0)) {
    case kOverrideOff: return 0;
    case kOverrideOn: return 1;
    default: return asRead;
    }
}

} // namespace

// The preferences chunk. Big-endian.
//
//   offset  size  encoding  field
//        0     4  UInt32    version: 4 as written; 2 and 3 read alike
//        4     4  UInt32    date, seconds since 2001: the open date goes out, the previous open date comes in
//        8     4  UInt32    document stamp
//       12     1  SInt8     flag A
//       13     4  SInt32    sort parameters
//       17     8  Rect      top, left, bottom, right: SInt16 each
//       25     1  SInt8     flag B
//       26     6  Color     red, green, blue: UInt16 each
//       32     1  SInt8     overridable flag
//       33     1  SInt8     flag C

void VLR_Document::WriteDocumentPreferences()
{
    if (stream == nullptr)
        VLR_RAISE(kNilStream);
    VLR_MemoryBlock block;
    VLR_MemoryStream out(block);
    out.WriteUInt32(kPreferencesVersion);
    out.WriteUInt32(openDate);
    out.WriteUInt32(documentStamp);
    out.WriteSInt8(documentFlagA);
    out.WriteSInt32(static_cast<int32_t>(sortParams));
    out.WriteRect(documentRect);
    out.WriteSInt8(documentFlagB);
    out.WriteColor(backgroundColor);
    out.WriteSInt8(documentFlagOverridable);
    out.WriteSInt8(documentFlagC);
    stream->WriteData(block);
}

void VLR_Document::ReadDocumentPreferences()
{
    if (stream == nullptr)
        VLR_RAISE(kNilStream);
    const VLR_MemoryBlockStreamCheck section(*stream);
    const uint32_t version = stream->ReadUInt32();
    if (version < kOldestPreferencesVersion || version > kPreferencesVersion)
        VLR_RAISE(kUnknownPreferencesVersion);
    previousOpenDate = stream->ReadUInt32();
    documentStamp = stream->ReadUInt32();
    documentFlagA = stream->ReadSInt8();
    sortParams = static_cast<uint32_t>(stream->ReadSInt32());
    if (sortParams == 0)
        sortParams = VLR_SortTitle;
    documentRect = stream->ReadRect();
    documentFlagB = stream->ReadSInt8();
    backgroundColor = stream->ReadColor();
    // The question goes to the whole stream: only the preferences of the oldest files stand at the end of one.
    if (!stream->AtEnd())
        documentFlagOverridable = stream->ReadSInt8();
    if (!stream->AtEnd())
        documentFlagC = stream->ReadSInt8();
    documentFlagOverridable = OverriddenFlag(documentFlagOverridable);
    section.Check();
}
