#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "VLR_System.h"
#include "VaultChecks.h"

// Version 3 files as they come; the same put together from preferences and records that the input gives in plain; and
// what a host has made of a file of version 1 or 2. Whatever is read goes out as version 4 and comes in again.

namespace {

VLR_String enciphered(const std::string& plain)
{
    VLR_MemoryBlock block = blockOf(plain);
    fuzzFish().EncryptMemoryBlock(block);
    return textOf(bytesOf(block));
}

VLR_MemoryBlock referenceBuffer()
{
    VLR_MemoryBlock block;
    fuzzFish().EncryptedReferenceBuffer(block);
    return block;
}

/// A record block: its clear part as the input has it, and its encrypted part from plain bytes.
std::string recordBlock(FuzzInput& input)
{
    VLR_MemoryBlock block;
    VLR_MemoryStream stream(block);
    stream.WriteUInt32(input.below(5));
    stream.WriteText(textOf(input.piece()));
    stream.WriteUTF8String(enciphered(input.longPiece()));
    return bytesOf(block);
}

std::string composedVersion3(FuzzInput& input)
{
    VLR_MemoryBlock block;
    VLR_MemoryStream stream(block);
    stream.WriteText(textOf("Fish"));
    stream.WriteData(referenceBuffer());
    stream.WriteText(textOf("Pref"));
    stream.WriteUTF8String(textOf(input.bytes(34)));
    stream.WriteText(textOf("Dele"));
    stream.WriteUTF8String(textOf(input.piece()));
    while (!input.isEmpty()) {
        stream.WriteText(textOf("Pdat"));
        stream.WriteUTF8String(textOf(recordBlock(input)));
    }
    return bytesOf(block);
}

VLR_ReadCompletionData* piecesOf(FuzzInput& input, bool isVersion1)
{
    auto* const pieces = new VLR_ReadCompletionData;
    pieces->isVersion1 = isVersion1;
    pieces->preferencesBlock = blockOf(input.piece());
    while (!input.isEmpty()) {
        const std::string block = isVersion1 ? bytesOf(enciphered(input.longPiece())) : recordBlock(input);
        pieces->recordBlocks.AppendObject(new VLR_MemoryBlock(blockOf(block)));
    }
    return pieces;
}

void readVersion3(VLR_Document& document, const std::string& file)
{
    VLR_MemoryBlock block = blockOf(file);
    VLR_MemoryStream stream(block);
    const StVLR_DocumentStream whileReading(document, &stream);
    document.ReadVersion3FileContents();
}

void readVersion1Or2(VLR_Document& document, FuzzInput& input, bool isVersion1)
{
    VLR_MemoryBlock buffer = referenceBuffer();
    document.SetReadCompletionData(piecesOf(input, isVersion1));
    document.ReadVersion1or2FileContents(buffer);
}

void read(VLR_Document& document, FuzzInput& input)
{
    switch (input.below(4)) {
    case 0: readVersion3(document, input.rest()); break;
    case 1: readVersion3(document, composedVersion3(input)); break;
    case 2: readVersion1Or2(document, input, /*isVersion1=*/false); break;
    default: readVersion1Or2(document, input, /*isVersion1=*/true);
    }
}

void expectNotCarried(FuzzInput input)
{
    VLR_Document document(VLR_DocumentReadKeepEncrypted);
    expect(!succeeds([&] { read(document, input); }), "an older file is not carried along");
    document.SetReadCompletionData(nullptr);
    expect(document.recordList.IsEmpty(), "nothing of it is");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    expectNotCarried(input);
    VLR_System::SetExpressOpenPassword(textOf(kFuzzPassword));
    VLR_Document document(VLR_DocumentReadDecrypted);
    document.ChangePassword(textOf(kFuzzPassword));
    const bool isRead = succeeds([&] { read(document, input); });
    document.SetReadCompletionData(nullptr);
    if (isRead)
        expectSurvivesWriting(document);
    return 0;
}
