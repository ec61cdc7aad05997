#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "PlainBytes.h"
#include "PreferencesModel.h"
#include "RecordModel.h"
#include "VLR_System.h"
#include "VaultChecks.h"

#include <algorithm>
#include <set>

// Version 3 files as they come; the same put together from preferences and records that the input gives in plain; and
// what a host has made of a file of version 1 or 2. What is read is what a plain reading of docs/file-format.md
// ("Versions 1 to 3") finds, and goes out as version 4 and comes in again.

namespace {

enum class Version {
    One,
    Two,
    Three
};

/// What there is to be read.
struct OlderFile {
    Version version = Version::Three;
    std::string whole; // version 3
    std::string preferences; // the pieces of versions 1 and 2
    std::vector<std::string> blocks;
};

// The input

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

OlderFile takePieces(FuzzInput& input, Version version)
{
    OlderFile file;
    file.version = version;
    file.preferences = input.piece();
    while (!input.isEmpty())
        file.blocks.push_back(version == Version::One ? bytesOf(enciphered(input.longPiece())) : recordBlock(input));
    return file;
}

OlderFile takeFile(FuzzInput& input)
{
    OlderFile file;
    switch (input.below(4)) {
    case 0: file.whole = input.rest(); return file;
    case 1: file.whole = composedVersion3(input); return file;
    case 2: return takePieces(input, Version::Two);
    default: return takePieces(input, Version::One);
    }
}

// The model

struct Model {
    bool isRead = false; // to the end
    std::string preferences;
    std::vector<RecordModel> records; // also of a read that failed

    uint32_t errors() const
    {
        return static_cast<uint32_t>(
            std::count_if(records.begin(), records.end(), [](const RecordModel& record) { return !record.isWhole; }));
    }
};

/// By definition: but for the last 8 bytes the numbers from 0, enciphered.
bool fitsPassword(const std::string& buffer)
{
    static const std::string kRight = bytesOf(referenceBuffer());
    return buffer.size() == kRight.size() && buffer.compare(0, buffer.size() - 8, kRight, 0, buffer.size() - 8) == 0;
}

/// Head and password of a version 3 file; the deletion list is dropped.
bool readHead(PlainBytes& bytes, Model& model)
{
    const bool hasBuffer = bytes.take(4) == "Fish" && fitsPassword(bytes.chunk());
    if (!hasBuffer || bytes.take(4) != "Pref")
        return false;
    model.preferences = bytes.chunk();
    if (model.preferences.size() != 34 || !isPreferences(model.preferences) || bytes.take(4) != "Dele")
        return false;
    bytes.chunk();
    return !bytes.isCut();
}

Model modelOfVersion3(const std::string& file)
{
    Model model;
    PlainBytes bytes(file);
    if (!readHead(bytes, model))
        return model;
    while (!bytes.isAtEnd()) {
        const bool isRecord = bytes.take(4) == "Pdat";
        const std::string block = bytes.chunk();
        if (!isRecord || bytes.isCut())
            return model;
        model.records.push_back(RecordModel::ofBlock(block));
    }
    model.isRead = true;
    return model;
}

Model modelOf(const OlderFile& file)
{
    if (file.version == Version::Three)
        return modelOfVersion3(file.whole);
    Model model;
    model.preferences = file.preferences;
    if (!file.preferences.empty() && !isPreferences(file.preferences))
        return model;
    for (const std::string& block : file.blocks)
        model.records.push_back(
            file.version == Version::One ? RecordModel::ofVersion1(block) : RecordModel::ofBlock(block));
    model.isRead = true;
    return model;
}

// The program

VLR_ReadCompletionData* piecesOf(const OlderFile& file)
{
    auto* const pieces = new VLR_ReadCompletionData;
    pieces->isVersion1 = file.version == Version::One;
    pieces->preferencesBlock = blockOf(file.preferences);
    for (const std::string& block : file.blocks)
        pieces->recordBlocks.AppendObject(new VLR_MemoryBlock(blockOf(block)));
    return pieces;
}

uint32_t readVersion3(VLR_Document& document, const std::string& file)
{
    VLR_MemoryBlock block = blockOf(file);
    VLR_MemoryStream stream(block);
    const StVLR_DocumentStream whileReading(document, &stream);
    return document.ReadVersion3FileContents();
}

uint32_t read(VLR_Document& document, const OlderFile& file)
{
    if (file.version == Version::Three)
        return readVersion3(document, file.whole);
    VLR_MemoryBlock buffer = referenceBuffer();
    document.SetReadCompletionData(piecesOf(file));
    return document.ReadVersion1or2FileContents(buffer);
}

void expectNotCarried(const OlderFile& file)
{
    VLR_Document document(VLR_DocumentReadKeepEncrypted);
    expect(!succeeds([&] { read(document, file); }), "an older file is not carried along");
    document.SetReadCompletionData(nullptr);
    expect(document.recordList.IsEmpty(), "nothing of it is");
}

void expectRecordsAs(const Model& model, const VLR_Document& document)
{
    expect(document.recordList.Count() == model.records.size(), "there are as many records as the file has");
    std::set<std::string> made;
    for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
        const VLR_PasswordData& record = *document.recordList.ObjectAtIndex(i);
        expectOpenedAs(model.records[i], record);
        expect(record.EncryptedBody().IsEmpty(), "a record that was deciphered keeps no cipher text");
        if (model.records[i].hasUUIDByChance)
            expect(made.insert(bytesOf(record.UUID())).second, "records of version 1 get a UUID each");
    }
}

void expectHeaderAs(const Model& model, const VLR_Document& document)
{
    expectPreferencesAs(model.preferences, document);
    expect(document.deletionList.IsEmpty(), "no deletion is taken over");
    expect(document.uniqueDocumentID.IsEmpty() && document.partnerDocumentID.IsEmpty(), "there are no identities");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const OlderFile file = takeFile(input);
    expectNotCarried(file);
    VLR_System::SetExpressOpenPassword(textOf(kFuzzPassword));
    VLR_Document document(VLR_DocumentReadDecrypted);
    document.ChangePassword(textOf(kFuzzPassword));
    uint32_t errors = 0;
    const bool isRead = succeeds([&] { errors = read(document, file); });
    document.SetReadCompletionData(nullptr);
    const Model model = modelOf(file);
    expect(isRead == model.isRead, "a file is read to its end, or not, as its format says");
    expectRecordsAs(model, document);
    if (!isRead)
        return 0;
    expect(errors == model.errors(), "each damaged record is an error");
    expectHeaderAs(model, document);
    expectSurvivesWriting(document);
    expect(document.uniqueDocumentID.Length() == 36, "what is written has an identity");
    return 0;
}
