#include "VaultHistory.h"

#include "NSData.h"
#include "VLR_Exception.h"
#include "VLR_Synchronize.h"
#include "VLR_SystemConversions.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

VLR_String text(const std::string& utf8)
{
    return VLR_String(utf8.c_str(), VLR_CharacterSetUTF8);
}

std::string bytesOf(const VLR_MemoryBlock& block)
{
    return std::string(reinterpret_cast<const char*>(block.Bytes()), block.Length());
}

VLR_MemoryBlock blockOf(const std::string& bytes)
{
    return VLR_MemoryBlock(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
}

std::string written(VLR_Document& document)
{
    VLR_MemoryBlock block;
    document.ToBlock(block);
    return bytesOf(block);
}

bool readWhole(VLR_Document& document, const std::string& vault)
{
    try {
        VLR_MemoryBlock block = blockOf(vault);
        return document.FromBlock(block) == 0;
    } catch (const VLR_Exception&) {
        return false;
    }
}

/// One for a quarter of the records, so long that a merge keeps more of it than its bytes.
std::string categoryFor(const std::string& uuid)
{
    std::string category;
    while (uuid[0] < '4' && category.size() < 70)
        category += "\u044F";
    return category;
}

} // namespace

std::set<std::string> VaultState::UUIDs() const
{
    std::set<std::string> result;
    for (const std::string& record : records)
        result.insert(record.substr(0, record.find('|')));
    return result;
}

bool isWhole(const std::string& vault)
{
    VLR_Document document(VLR_DocumentReadKeepEncrypted);
    return readWhole(document, vault);
}

VaultState stateOf(const std::string& vault)
{
    VaultState state;
    VLR_Document document(VLR_DocumentReadKeepEncrypted);
    const bool whole = readWhole(document, vault);
    EXPECT_TRUE(whole) << "a vault of " << vault.size() << " bytes is damaged";
    if (!whole)
        return state;
    for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
        const VLR_PasswordData& record = *document.recordList.ObjectAtIndex(i);
        state.records.insert(
            bytesOf(record.UUID()) + "|" + bytesOf(record.Category()) + "|" + bytesOf(record.EncryptedBody()));
    }
    for (uint32_t i = 0; i < document.deletionList.Count(); ++i)
        state.deletions.insert(bytesOf(document.deletionList.ObjectAtIndex(i)->uuid));
    return state;
}

OpenVault::OpenVault()
{
    document.ChangePassword(text("open sesame"));
}

OpenVault::OpenVault(const std::string& vault)
    : OpenVault()
{
    EXPECT_TRUE(readWhole(document, vault));
}

std::string OpenVault::UUID(uint32_t index) const
{
    return bytesOf(document.recordList.ObjectAtIndex(index)->UUID());
}

void OpenVault::add(const std::string& uuid, const std::string& title)
{
    auto* const record = new VLR_PasswordData(&document);
    document.AddNewPasswordData(record);
    record->SetUUID(VLR_String()); // a record without identity takes its texts without leaving a deletion
    record->SetTitle(text(title));
    record->SetPassword(text("secret of " + title));
    record->SetCategory(text(categoryFor(uuid)));
    record->SetUUID(text(uuid));
}

std::string OpenVault::edit(uint32_t index, const std::string& newTitle, const std::string& newUUID)
{
    std::string before = UUID(index);
    VLR_PasswordData& record = *document.recordList.ObjectAtIndex(index);
    record.SetTitle(text(newTitle));
    record.SetUUID(text(newUUID));
    return before;
}

std::string OpenVault::remove(uint32_t index)
{
    std::string before = UUID(index);
    document.RemovePasswordData(document.recordList.ObjectAtIndex(index));
    return before;
}

std::string OpenVault::bytes()
{
    return written(document);
}

MergedPair mergeOf(const VaultPair& vaults)
{
    VLR_Document first(VLR_DocumentReadKeepEncrypted);
    VLR_Document second(VLR_DocumentReadKeepEncrypted);
    EXPECT_TRUE(readWhole(first, vaults.first));
    EXPECT_TRUE(readWhole(second, vaults.second));
    const VLR_Synchronize merge(first, second, VLR_SyncMerge);
    MergedPair result;
    result.vaults.first = written(first);
    result.vaults.second = written(second);
    result.identical = merge.identical;
    result.duplicated = merge.duplicated;
    return result;
}

VaultPair merged(const VaultPair& vaults)
{
    return mergeOf(vaults).vaults;
}

std::string VaultHistory::freshUUID()
{
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string result = "xxxxxxxx-xxxx-4xxx-8xxx-xxxxxxxxxxxx";
    for (char& c : result) {
        if (c == 'x')
            c = kDigits[below(16)];
    }
    return result;
}

std::string VaultHistory::changed(const std::string& vault)
{
    OpenVault open(vault);
    const std::string uuid = freshUUID();
    const std::size_t kind = below(3);
    if (kind == 0 || open.count() == 0) {
        open.add(uuid, "Added " + uuid);
        return open.bytes();
    }
    const auto index = static_cast<uint32_t>(below(open.count()));
    if (kind == 1)
        open.edit(index, "Edited " + uuid, uuid);
    else
        open.remove(index);
    return open.bytes();
}

VaultPair VaultHistory::pair()
{
    OpenVault beginning;
    for (std::size_t records = 2 + below(4); records > 0; --records)
        beginning.add(freshUUID(), "Common " + std::to_string(records));
    const std::string common = beginning.bytes();
    VaultPair vaults { common, common };
    for (std::size_t steps = 3 + below(6); steps > 0; --steps) {
        if (below(5) == 0)
            vaults = merged(vaults);
        std::string& side = below(2) == 0 ? vaults.first : vaults.second;
        side = changed(side);
    }
    // Each side has something for the other, so that either file must change.
    for (std::string* const side : { &vaults.first, &vaults.second }) {
        OpenVault open(*side);
        open.add(freshUUID(), "Not on the other side");
        *side = open.bytes();
    }
    return vaults;
}
