#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "VLR_MacRoman.h"
#include "VLR_System.h"
#include "VaultChecks.h"

// One record block of any format, as it comes or put together from a clear part and an encrypted part that the input
// gives in plain; and the block of a version 1 file, compared with a plain reading of it.

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
    expect(isKept || !isOpened, "what can't be carried can't be opened");
    expectSameClearPart(opened, kept);
    expectSurvives(opened);
    expectSurvives(kept);
}

/// The field of a version 1 record at `place`; false if it is cut.
bool takeShortText(const std::string& plain, std::size_t& place, VLR_String& text)
{
    if (place >= plain.size())
        return false;
    const std::size_t count = static_cast<unsigned char>(plain[place++]);
    if (count > plain.size() - place)
        return false;
    VLR_PodBlock<unsigned short> units;
    for (const char c : plain.substr(place, count)) {
        const auto byte = static_cast<unsigned char>(c);
        const char16_t unit = byte < 0x80 ? static_cast<char16_t>(byte) : kMacRomanUpperHalf[byte - 0x80];
        units.Append(&unit, sizeof unit);
    }
    place += count;
    text = VLR_String(units, VLR_CharacterSetUTF16);
    return true;
}

void readVersion1(const std::string& plain)
{
    VLR_MemoryBlock block = blockOf(enciphered(plain));
    std::string padded = plain;
    padded.resize(block.Length());
    VLR_PasswordData record(&documents().opened);
    const bool isRead = succeeds([&] { record.ReadDataWithFishVersion1(block, fuzzFish()); });
    std::size_t place = 0;
    VLR_String expected;
    bool isWhole = true;
    for (const VLR_String* const field : { &record.Title(), &record.URL(), &record.Username(), &record.Password() }) {
        isWhole = isWhole && takeShortText(padded, place, expected);
        if (isWhole)
            expect(bytesOf(*field) == bytesOf(expected), "a version 1 text is as a plain reading has it");
    }
    expect(isRead == (isWhole && padded.size() - place >= 4), "a version 1 record is read if it is whole");
    expectSurvives(record);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    switch (input.below(3)) {
    case 0: readBlock(input.rest()); break;
    case 1: readBlock(composedBlock(input)); break;
    default: readVersion1(input.rest());
    }
    return 0;
}
