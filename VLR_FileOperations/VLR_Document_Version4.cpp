#include "VLR_Document.h"

#include "VLR_Exception.h"
#include "VLR_FileTags.h"
#include "VLR_System.h"

#include <memory>

namespace {

constexpr uint32_t kFileVersion4 = 4;
constexpr uint64_t kTag = 4;
constexpr uint64_t kCount = 4; // the count in front of a chunk
constexpr uint64_t kDeletionChecksum = 2;
constexpr uint64_t kPreferencesLength = 34;

constexpr char kIncorrectVersion[] = "File incorrect version.  Expected VL4 file.";
constexpr char kNoMoreRecords[] = "Looked for password record data, no more data found, skipping to end of file.";
constexpr char kErrorThrown[] = "Error thrown";
constexpr char kNothingRecovered[] = "Error reading an entry, unable to recover any data.";
constexpr char kSomeDataRecovered[] = "Error reading entry.  Title and some data recovered in file. ";
constexpr char kStreamNotAtEnd[] = "stream not at end";

void LogDamagedRecord(const VLR_PasswordData& record)
{
    if (record.Title().IsEmpty())
        VLR_System::Log(kNothingRecovered, VLR_String());
    else
        VLR_System::Log(kSomeDataRecovered, record.Title());
}

} // namespace

// A version 4 file. Big-endian; a tag is a UInt32 that spells itself.
//
//   "VL_4"                            magic
//   "Fish"  chunk                     reference buffer
//   "Pref"  chunk                     preferences
//   "Dele"  chunk                     deletion entries: UTF-8 uuid, UInt16 checksum, to the chunk's end
//   "SyIn"  UTF-8, UTF-8              identity, partner's identity
//   "Pdat"  chunk                     record block; once per record, to the file's end

void VLR_Document::WriteVersion4Contents()
{
    if (stream == nullptr)
        VLR_RAISE(kNilStream);
    if (stream->Length() != 0)
        VLR_RAISE(kStreamNotReset);
    stream->ExpectBytes(Version4ContentsLength());
    stream->WriteUInt32(kVLR_MagicVersion4);
    stream->WriteUInt32(kVLR_TagReferenceBuffer);
    if (keepEncrypted && referenceBuffer.IsEmpty())
        VLR_RAISE(kNoReferenceBuffer);
    WriteReferenceBuffer();
    stream->WriteUInt32(kVLR_TagPreferences);
    WriteDocumentPreferences();
    stream->WriteUInt32(kVLR_TagDeletionList);
    WriteDeletionList();
    SetUniqueDocumentID();
    stream->WriteUInt32(kVLR_TagSyncInformation);
    stream->WriteUTF8String(uniqueDocumentID);
    stream->WriteUTF8String(partnerDocumentID);
    WriteRecords();
}

/// Without the key the buffer goes out as it came in; with it, a fresh one does.
void VLR_Document::WriteReferenceBuffer()
{
    VLR_MemoryBlock freshBuffer;
    if (!keepEncrypted)
        docFish.EncryptedReferenceBuffer(freshBuffer);
    stream->WriteData(keepEncrypted ? referenceBuffer : freshBuffer);
}

void VLR_Document::WriteDeletionList()
{
    VLR_MemoryBlock entries;
    VLR_MemoryStream out(entries);
    out.ExpectBytes(DeletionListLength());
    for (uint32_t i = 0; i < deletionList.Count(); ++i) {
        const VLR_Deletion& deletion = *deletionList.ObjectAtIndex(i);
        out.WriteUTF8String(deletion.uuid);
        out.WriteUInt16(deletion.checksum);
    }
    stream->WriteData(entries);
}

void VLR_Document::WriteRecords()
{
    for (uint32_t i = 0; i < recordList.Count(); ++i) {
        VLR_PasswordData& record = *recordList.ObjectAtIndex(i);
        stream->WriteUInt32(kVLR_TagRecord);
        record.PrintDebugOutput("Write");
        if (const unsigned char* const asRead = record.FileBlockAsRead()) {
            const auto length = static_cast<uint32_t>(record.FileBlockLength());
            stream->WriteUInt32(length);
            stream->PutBytes(asRead, length);
            continue;
        }
        VLR_MemoryBlock block;
        record.WriteDataWithFish(block, docFish);
        stream->WriteData(block);
    }
}

uint64_t VLR_Document::DeletionListLength() const
{
    uint64_t length = 0;
    for (uint32_t i = 0; i < deletionList.Count(); ++i)
        length += kCount + deletionList.ObjectAtIndex(i)->uuid.Length() + kDeletionChecksum;
    return length;
}

uint64_t VLR_Document::Version4ContentsLength() const
{
    const uint64_t bufferLength = keepEncrypted ? referenceBuffer.Length() : VLR_BlowFish::kReferenceBufferLength;
    uint64_t length = kTag + kTag + kCount + bufferLength + kTag + kCount + kPreferencesLength + kTag + kCount
        + DeletionListLength() + kTag + kCount + uniqueDocumentID.Length() + kCount + partnerDocumentID.Length();
    for (uint32_t i = 0; i < recordList.Count(); ++i)
        length += kTag + kCount + recordList.ObjectAtIndex(i)->FileBlockLength();
    return length;
}

uint32_t VLR_Document::ReadVersion4FileContents(VLR_AskPasswordReadStyle style)
{
    askPasswordReadStyle = style;
    ResetDocumentContents();
    if (stream == nullptr)
        VLR_RAISE(kNilStream);

    // Peeked, not read: a vault may begin directly with "Fish", and its next save adds the magic.
    uint32_t magic = 0;
    if (stream->PeekUInt32(magic) && magic == kVLR_MagicVersion4 && stream->ReadUInt32() != kVLR_MagicVersion4)
        VLR_RAISE(kIncorrectVersion);
    if (stream->ReadUInt32() != kVLR_TagReferenceBuffer)
        VLR_RAISE(kExpectedReferenceBuffer);
    stream->ReadData(referenceBuffer);
    if (stream->ReadUInt32() != kVLR_TagPreferences)
        VLR_RAISE(kExpectedPreferences);
    ReadDocumentPreferences();
    if (stream->ReadUInt32() != kVLR_TagDeletionList)
        VLR_RAISE(kExpectedDeletionList);
    ReadDeletionList();
    if (stream->ReadUInt32() != kVLR_TagSyncInformation)
        VLR_RAISE(kExpectedSyncInformation);
    stream->ReadUTF8String(uniqueDocumentID);
    stream->ReadUTF8String(partnerDocumentID);
    SetUniqueDocumentID();

    fileVersion = kFileVersion4;
    return halfReadFlag != VLR_HalfReadOff ? 0 : ReadToCompletion();
}

void VLR_Document::ReadDeletionList()
{
    VLR_MemoryBlock entries = stream->ReadData();
    VLR_MemoryStream in(entries);
    while (!in.AtEnd()) {
        const VLR_String uuid = in.ReadUTF8String();
        AddDeletedUUID(uuid, in.ReadUInt16());
    }
}

uint32_t VLR_Document::ReadVersion4FileContentsCompletion()
{
    if (stream == nullptr)
        VLR_RAISE(kNilStream);
    if (!keepEncrypted) {
        AskUserPassword(askPasswordReadStyle, /*padToKeyLength=*/false);
        referenceBuffer.Resize(0); // has done its work; a write makes a new one
    }
    recordList.RemoveAll();
    uint32_t errors = 0;
    VLR_MemoryBlock block; // one for all records: it grows to the largest and wipes what it gives up
    while (!stream->AtEnd()) {
        const RecordRead outcome = ReadNextRecord(block);
        if (outcome != RecordRead::Whole)
            ++errors;
        if (outcome == RecordRead::None)
            break;
    }
    if (!stream->AtEnd()) {
        VLR_System::Log(kStreamNotAtEnd, VLR_String());
        ++errors;
    }
    return errors;
}

/// One pass of the record loop. Whatever is wrong with a record that was begun, it stays in the list with what was read
/// of it, and the next pass goes on from where the stream stands.
VLR_Document::RecordRead VLR_Document::ReadNextRecord(VLR_MemoryBlock& block)
{
    if (!ReadRecordTag())
        return RecordRead::None;
    auto record = std::make_unique<VLR_PasswordData>(this);
    RecordRead outcome = RecordRead::Whole;
    try {
        stream->ReadData(block);
        record->ReadDataWithFish(block, docFish);
        record->PrintDebugOutput("Read");
    } catch (...) {
        VLR_RethrowShortageOfMemory();
        VLR_System::Log(kErrorThrown, VLR_String());
        LogDamagedRecord(*record);
        outcome = RecordRead::Damaged;
    }
    recordList.AppendObject(record.get());
    record.release(); // the list's now
    return outcome;
}

/// False if no further record follows.
bool VLR_Document::ReadRecordTag()
{
    try {
        FindNextRecord();
        stream->ReadUInt32();
        return true;
    } catch (...) {
        VLR_RethrowShortageOfMemory();
        VLR_System::Log(kErrorThrown, VLR_String());
        return false;
    }
}

/// Leaves the stream at the next record's tag, behind whatever stands in the way.
void VLR_Document::FindNextRecord()
{
    uint32_t tag = 0;
    if (stream->PeekUInt32(tag) && tag == kVLR_TagRecord)
        return;
    if (!stream->ScanUpToOrEnd(kVLR_TagRecord))
        VLR_RAISE(kNoMoreRecords);
}
