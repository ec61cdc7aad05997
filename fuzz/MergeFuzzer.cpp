#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "TextModel.h"
#include "VLR_Synchronize.h"
#include "VaultChecks.h"

#include <algorithm>
#include <iterator>
#include <vector>

// Two vaults of few identities and categories, of which many are nearly equal, merged: against a literal model of
// docs/file-format.md, "Merging", which looks through whole lists and knows no index.

namespace {

struct Record {
    std::string uuid;
    std::string category;
    uint32_t number; // told by nothing else

    bool operator==(const Record&) const = default;
};

struct Deletion {
    std::string uuid;
    uint16_t checksum;

    bool operator==(const Deletion&) const = default;
};

struct Vault {
    std::string identity;
    std::string partner;
    std::vector<Record> records;
    std::vector<Deletion> deletions;
};

struct Counts {
    uint32_t deleted[2] = {};
    uint32_t copied[2] = {};
    uint32_t duplicated = 0;
    uint32_t identical = 0;
};

// The input

/// Texts that are equal exactly, caseless, canonically, or not at all though they look it.
std::string pickedText(FuzzInput& input)
{
    static const std::string kLongText = [] { // of those for which a merge keeps more than the bytes
        std::string text;
        while (text.size() < 70)
            text += "\xD1\x8F";
        return text;
    }();
    static const std::string kTexts[] = { "", "a", "A", "b", "B", "\xC3\xA9", "e\xCC\x81", "\xC3\x89", "ss", "\xC3\x9F",
        "SS", "K", "\xE2\x84\xAA", "k", "\xFF", "\xFE", "\xED\xB3\xBF", "\xCE\xB1\xCD\x85", "\xE1\xBE\xB3",
        "\xCE\x91\xCE\x99", kLongText, "\xC3\x89" + kLongText, "\xC3\xA9" + kLongText,
        "00000001-1234-4ABC-8DEF-0123456789AB", "00000001-1234-4abc-8def-0123456789ab" };
    const uint32_t choice = input.below(static_cast<uint32_t>(std::size(kTexts)) + 8);
    return choice < std::size(kTexts) ? kTexts[choice] : input.bytes(input.below(6));
}

Vault takeVault(FuzzInput& input, uint32_t firstNumber)
{
    Vault vault;
    vault.identity = "identity " + std::to_string(firstNumber);
    vault.partner = pickedText(input);
    for (uint32_t left = input.below(12); left > 0; --left) {
        const std::string uuid = pickedText(input);
        vault.deletions.push_back({ uuid, input.shortNumber() });
    }
    for (uint32_t left = input.below(24); left > 0; --left) {
        const std::string uuid = pickedText(input);
        vault.records.push_back({ uuid, pickedText(input), firstNumber++ });
    }
    return vault;
}

// The model

bool isEqual(const std::string& a, const std::string& b, VLR_StringComparisonType type)
{
    return TextModel::compare(a, b, type) == 0;
}

std::vector<Deletion> mergedDeletions(const Vault& first, const Vault& second)
{
    std::vector<Deletion> all = first.deletions;
    all.insert(all.end(), second.deletions.begin(), second.deletions.end());
    std::stable_sort(all.begin(), all.end(), [](const Deletion& a, const Deletion& b) {
        return TextModel::compare(a.uuid, b.uuid, VLR_StringComparisonCaseless) < 0;
    });
    std::vector<Deletion> merged;
    for (const Deletion& entry : all) {
        if (merged.empty() || !isEqual(merged.back().uuid, entry.uuid, VLR_StringComparisonCaseless))
            merged.push_back(entry);
    }
    return merged;
}

const Record* firstOf(const std::vector<Record>& records, const std::string& uuid)
{
    for (const Record& record : records) {
        if (isEqual(record.uuid, uuid, VLR_StringComparisonExact))
            return &record;
    }
    return nullptr;
}

bool isDeleted(const std::vector<Deletion>& deletions, const std::string& uuid)
{
    return std::any_of(deletions.begin(), deletions.end(),
        [&](const Deletion& entry) { return isEqual(entry.uuid, uuid, VLR_StringComparisonCaseless); });
}

void mergeSide(Vault& side, Vault& other, int index, Counts& counts)
{
    std::vector<Record> staying;
    for (const Record& record : side.records) {
        const Record* const match = firstOf(other.records, record.uuid);
        const bool isRemoved = match == nullptr && isDeleted(other.deletions, record.uuid);
        if (isRemoved)
            ++counts.deleted[index];
        else
            staying.push_back(record);
        if (match != nullptr && isEqual(match->category, record.category, VLR_StringComparisonExact)) {
            ++counts.identical;
        } else if (!isRemoved) {
            ++(match != nullptr ? counts.duplicated : counts.copied[index]);
            other.records.push_back(record);
        }
    }
    side.records = staying;
}

Counts merge(Vault& first, Vault& second)
{
    Counts counts;
    first.deletions = second.deletions = mergedDeletions(first, second);
    mergeSide(first, second, 0, counts);
    mergeSide(second, first, 1, counts);
    first.partner = second.identity;
    second.partner = first.identity;
    return counts;
}

// The vault as a file, and back

std::string fileOf(const Vault& vault)
{
    VLR_Document document(VLR_DocumentReadKeepEncrypted);
    fuzzFish().EncryptedReferenceBuffer(document.referenceBuffer);
    document.uniqueDocumentID = textOf(vault.identity);
    document.partnerDocumentID = textOf(vault.partner);
    for (const Deletion& entry : vault.deletions)
        document.AddDeletedUUID(textOf(entry.uuid), entry.checksum);
    VLR_MemoryBlock file;
    document.ToBlock(file);
    VLR_MemoryStream stream(file);
    for (const Record& record : vault.records) {
        VLR_MemoryBlock block;
        VLR_MemoryStream fields(block);
        fields.WriteUInt32(4);
        fields.WriteUTF8String(textOf(record.uuid));
        fields.WriteUInt16(0);
        fields.WriteUTF8String(textOf(record.category));
        fields.WriteData(VLR_MemoryBlock());
        fields.WriteUInt32(record.number);
        fields.WriteUTF8String(textOf("12345678"));
        stream.WriteText(textOf("Pdat"));
        stream.WriteData(block);
    }
    return bytesOf(file);
}

void read(VLR_Document& document, const std::string& file)
{
    VLR_MemoryBlock block = blockOf(file);
    expect(succeeds([&] { expect(document.FromBlock(block) == 0, "a sound vault has no damage"); }), "it is read");
}

Vault vaultOf(const VLR_Document& document)
{
    Vault vault;
    vault.identity = bytesOf(document.uniqueDocumentID);
    vault.partner = bytesOf(document.partnerDocumentID);
    for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
        const VLR_PasswordData& record = *document.recordList.ObjectAtIndex(i);
        vault.records.push_back(
            { bytesOf(record.UUID()), bytesOf(record.Category()), static_cast<uint32_t>(record.ClearValue()) });
    }
    for (uint32_t i = 0; i < document.deletionList.Count(); ++i) {
        const VLR_Deletion& entry = *document.deletionList.ObjectAtIndex(i);
        vault.deletions.push_back({ bytesOf(entry.uuid), entry.checksum });
    }
    return vault;
}

void expectAsInModel(const VLR_Document& document, const Vault& model)
{
    const Vault vault = vaultOf(document);
    expect(vault.records == model.records, "the records are the model's");
    expect(vault.deletions == model.deletions, "the deletions are the model's");
    expect(vault.identity == model.identity && vault.partner == model.partner, "the identities are the model's");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    Vault first = takeVault(input, 0);
    Vault second = takeVault(input, 1000);
    VLR_Document hh(VLR_DocumentReadKeepEncrypted);
    VLR_Document pc(VLR_DocumentReadKeepEncrypted);
    read(hh, fileOf(first));
    read(pc, fileOf(second));
    const VLR_Synchronize synchronize(hh, pc, VLR_SyncMerge);
    const Counts counts = merge(first, second);
    expectAsInModel(hh, first);
    expectAsInModel(pc, second);
    expect(synchronize.hhDeleted == counts.deleted[0] && synchronize.pcDeleted == counts.deleted[1]
            && synchronize.hhToPcCopied == counts.copied[0] && synchronize.pcToHhCopied == counts.copied[1]
            && synchronize.duplicated == counts.duplicated && synchronize.identical == counts.identical,
        "the counters are the model's");
    expectSurvivesWriting(hh);
    expectSurvivesWriting(pc);
    return 0;
}
