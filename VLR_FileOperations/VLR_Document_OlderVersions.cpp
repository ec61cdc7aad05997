#include "VLR_Document.h"

#include "VLR_Exception.h"
#include "VLR_FileTags.h"

#include <memory>

namespace {

constexpr uint32_t kFileVersion2 = 2; // and 1
constexpr uint32_t kFileVersion3 = 3;

} // namespace

uint32_t VLR_Document::VellorinFileVersion(VLR_MemoryBlock& block)
{
    const VLR_MemoryStream file(block);
    uint32_t magic = 0;
    return file.PeekUInt32(magic) && magic == kVLR_MagicVersion4 ? magic : 0;
}

// A version 3 file: as version 4, without magic and "SyIn" section. Its deletion list is not taken over.
//
//   "Fish"  chunk    reference buffer
//   "Pref"  chunk    preferences
//   "Dele"  chunk    deletion list
//   "Pdat"  chunk    record block; once per record, to the file's end

uint32_t VLR_Document::ReadVersion3FileContents()
{
    if (keepEncrypted)
        VLR_RAISE(kCantConvert);
    if (stream == nullptr)
        VLR_RAISE(kNilStream);
    // As in version 4, but not shared with it: a report names the function that reads the version.
    if (stream->ReadUInt32() != kVLR_TagReferenceBuffer)
        VLR_RAISE(kExpectedReferenceBuffer);
    stream->ReadData(referenceBuffer);
    if (stream->ReadUInt32() != kVLR_TagPreferences)
        VLR_RAISE(kExpectedPreferences);
    ReadDocumentPreferences();
    if (stream->ReadUInt32() != kVLR_TagDeletionList)
        VLR_RAISE(kExpectedDeletionList);
    stream->ReadData();

    fileVersion = kFileVersion3;
    return halfReadFlag != VLR_HalfReadOff ? 0 : ReadToCompletion();
}

uint32_t VLR_Document::ReadVersion3FileContentsCompletion()
{
    if (stream == nullptr)
        VLR_RAISE(kNilStream);
    AskUserPassword(VLR_AskPasswordPrompt, /*padToKeyLength=*/true);
    recordList.RemoveAll();
    uint32_t errors = 0;
    VLR_MemoryBlock block;
    while (!stream->AtEnd()) {
        uint32_t tag = 0;
        if (!stream->PeekUInt32(tag) || tag != kVLR_TagRecord)
            VLR_RAISE(kExpectedRecord);
        stream->ReadUInt32();
        stream->ReadData(block);
        if (!AppendOlderRecord([&](VLR_PasswordData& record) { record.ReadDataWithFish(block, docFish); }))
            ++errors;
    }
    return errors;
}

uint32_t VLR_Document::ReadVersion1or2FileContents(VLR_MemoryBlock& block)
{
    if (keepEncrypted)
        VLR_RAISE(kCantConvert); // what it would write, nobody could read
    referenceBuffer = VLR_MemoryBlock(block); // a copy first: it may be the member itself
    if (readCompletionData != nullptr && !readCompletionData->preferencesBlock.IsEmpty()) {
        // The stream ends where the preferences do, so the two last bytes may be missing.
        VLR_MemoryBlock chunk;
        VLR_MemoryStream preferences(chunk);
        preferences.WriteData(readCompletionData->preferencesBlock);
        preferences.RewindRead();
        const StVLR_DocumentStream whileReading(*this, &preferences);
        ReadDocumentPreferences();
    }
    fileVersion = kFileVersion2;
    return halfReadFlag != VLR_HalfReadOff ? 0 : ReadToCompletion();
}

uint32_t VLR_Document::ReadVersion1or2FileContentsCompletion()
{
    if (readCompletionData == nullptr)
        VLR_RAISE_CODE(VLR_ExceptionInternal);
    AskUserPassword(VLR_AskPasswordPrompt, /*padToKeyLength=*/true);
    uint32_t errors = 0;
    for (uint32_t i = 0; i < readCompletionData->recordBlocks.Count(); ++i) {
        VLR_MemoryBlock& block = *readCompletionData->recordBlocks.ObjectAtIndex(i);
        const auto read = [&](VLR_PasswordData& record) {
            if (readCompletionData->isVersion1)
                record.ReadDataWithFishVersion1(block, docFish);
            else
                record.ReadDataWithFish(block, docFish);
        };
        if (!AppendOlderRecord(read))
            ++errors;
    }
    return errors;
}

/// Appends a record with what `read` gets out of its block. False if it is damaged.
template <class Read>
bool VLR_Document::AppendOlderRecord(Read read)
{
    auto record = std::make_unique<VLR_PasswordData>(this);
    bool isWhole = true;
    try {
        read(*record);
    } catch (...) {
        VLR_RethrowShortageOfMemory();
        isWhole = false; // what was raised has logged itself
    }
    recordList.AppendObject(record.get());
    record.release(); // the list's now
    return isWhole;
}
