#include "ContentsChecks.h"

#include "CarriedWhole.h"
#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "VaultContents.h"
#include "VaultMerge.h"

#include <algorithm>
#include <optional>

namespace {

using Kind = VaultDamage::Kind;

std::optional<VaultContents> contentsOf(const std::string& file)
{
    try {
        return VaultContents(NSData::dataWithBytes(file.data(), file.size()));
    } catch (const NoVault&) {
        return std::nullopt;
    }
}

/// What a reader counts as errors.
uint32_t errorsIn(const VaultContents& vault)
{
    const auto isError = [&](const VaultDamage& damage) {
        const bool endsTheRead = damage.offset + damage.length == vault.bytes().length();
        return damage.kind == Kind::RecordCut || (damage.kind == Kind::StrayBytes && endsTheRead);
    };
    return static_cast<uint32_t>(std::count_if(vault.damage.begin(), vault.damage.end(), isError));
}

void expectSameRecord(const VaultRecord& record, const VLR_PasswordData& core)
{
    expect(record.uuid == bytesOf(core.UUID()), "both find the same UUID");
    expect(record.category == bytesOf(core.Category()), "both find the same category");
    expect(record.body == bytesOf(core.EncryptedBody()), "both find the same encrypted part");
    expect(record.changedSinceSync == (core.ChangedSinceSync() != 0), "both find the same flag");
}

void expectRepairable(const VaultContents& vault)
{
    std::vector<VaultDamage> lost;
    const NSData repaired = repairedVault(vault, lost);
    VLR_Document document(VLR_DocumentReadKeepEncrypted);
    VLR_MemoryBlock block(repaired.bytes(), static_cast<uint32_t>(repaired.length()));
    uint32_t errors = 1;
    expect(succeeds([&] { errors = document.FromBlock(block); }) && errors == 0, "a repaired vault has no error");
}

} // namespace

void expectSameContents(const std::string& file, const VLR_Document& kept, bool isKept, uint32_t errors)
{
    const std::optional<VaultContents> vault = contentsOf(file);
    expect(vault.has_value() == isKept, "both readers take the file for a vault, or none does");
    if (!vault)
        return;
    const std::string_view identity = vault->identity; // one that is empty is made anew by each read
    expect(identity.empty() || identity == bytesOf(kept.uniqueDocumentID), "both find the same identity");
    expect(vault->records.size() == kept.recordList.Count(), "both readers find as many records");
    for (uint32_t i = 0; i < kept.recordList.Count(); ++i)
        expectSameRecord(vault->records[i], *kept.recordList.ObjectAtIndex(i));
    expect(vault->deletions.size() == kept.deletionList.Count(), "both readers find as many deletions");
    for (uint32_t i = 0; i < kept.deletionList.Count(); ++i)
        expect(vault->deletions[i].uuid == bytesOf(kept.deletionList.ObjectAtIndex(i)->uuid), "of the same records");
    expect(errorsIn(*vault) == errors, "both readers count as many errors");
    const bool isWhole = std::all_of(vault->damage.begin(), vault->damage.end(),
        [](const VaultDamage& damage) { return damage.kind == Kind::BodyMissing; });
    expect(isCarriedWhole(vault->bytes()) == isWhole, "damage is what isn't carried");
    expectRepairable(*vault);
}
