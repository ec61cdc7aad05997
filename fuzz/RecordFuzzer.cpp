#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "RecordModel.h"
#include "VaultChecks.h"

// One record block of any format, as it comes or put together from a clear part and an encrypted part that the input
// gives in plain; and the block of a version 1 file. Each is read as a plain reading of docs/file-format.md has it.

namespace {

struct Documents {
    Documents() { opened.ChangePassword(textOf(kFuzzPassword)); }

    VLR_Document opened { VLR_DocumentReadDecrypted };
    VLR_Document kept { VLR_DocumentReadKeepEncrypted };
};

/// They outlive all inputs: a key schedule for each would take most of the time.
Documents& documents()
{
    static auto* const made = new Documents;
    return *made;
}

std::string enciphered(const std::string& plain)
{
    VLR_MemoryBlock block = blockOf(plain);
    fuzzFish().EncryptMemoryBlock(block);
    return bytesOf(block);
}

std::string composedBlock(FuzzInput& input)
{
    VLR_MemoryBlock block;
    VLR_MemoryStream stream(block);
    stream.WriteUInt32(input.below(6));
    stream.WriteText(textOf(input.longPiece()));
    stream.WriteData(blockOf(enciphered(input.rest())));
    return bytesOf(block);
}

/// Reads the block that `before` writes; both are of one document.
void expectSurvives(VLR_PasswordData& before)
{
    VLR_MemoryBlock out;
    if (!succeeds([&] { before.WriteDataWithFish(out, fuzzFish()); })) {
        expect(before.Document()->KeepEncrypted() && before.EncryptedBody().IsEmpty(), "a record can be written");
        return;
    }
    expect(out.Length() == before.FileBlockLength(), "the length is announced as it is");
    VLR_PasswordData after(before.Document());
    expect(succeeds([&] { after.ReadDataWithFish(out, fuzzFish()); }), "what was written is read");
    expectKept(before, after);
    expect(after.Checksum() == out.ComputeChecksum(), "the checksum is the block's");
}

void readBlock(const std::string& bytes)
{
    VLR_MemoryBlock block = blockOf(bytes);
    VLR_PasswordData opened(&documents().opened);
    VLR_PasswordData kept(&documents().kept);
    const bool isOpened = succeeds([&] { opened.ReadDataWithFish(block, fuzzFish()); });
    const bool isKept = succeeds([&] { kept.ReadDataWithFish(block, fuzzFish()); });
    expect(bytesOf(block) == bytes, "the block stays as it was");
    const RecordModel model = RecordModel::ofBlock(bytes);
    expect(isKept == model.isCarried, "a record is carried if its block is whole");
    expect(isOpened == model.isWhole, "a record is opened if its encrypted part is whole too");
    expectCarriedAs(model, kept);
    expectOpenedAs(model, opened);
    expect(opened.Checksum() == model.checksum && kept.Checksum() == model.checksum, "the checksum is the block's");
    expectSurvives(opened);
    expectSurvives(kept);
}

void readVersion1(const std::string& bytes)
{
    VLR_MemoryBlock block = blockOf(bytes);
    VLR_PasswordData record(&documents().opened);
    const bool isRead = succeeds([&] { record.ReadDataWithFishVersion1(block, fuzzFish()); });
    const RecordModel model = RecordModel::ofVersion1(bytes);
    expect(isRead == model.isWhole, "a version 1 record is read if it is whole");
    expectOpenedAs(model, record);
    expectSurvives(record);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    switch (input.below(4)) {
    case 0: readBlock(input.rest()); break;
    case 1: readBlock(composedBlock(input)); break;
    case 2: readVersion1(enciphered(input.rest())); break;
    default: readVersion1(input.rest());
    }
    return 0;
}
