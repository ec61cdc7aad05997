#include "VaultMerge.h"

#include <string>

namespace {

constexpr uint64_t kTag = 4;
constexpr uint64_t kCount = 4;
constexpr uint32_t kPresentFormat = 4;

using Kind = VaultDamage::Kind;

std::string bigEndian(uint64_t value, int bytes)
{
    std::string result;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        result += static_cast<char>(value >> shift);
    return result;
}

std::string chunkOf(std::string_view content)
{
    return bigEndian(content.size(), 4).append(content);
}

std::string deletionListOf(const VaultContents& vault)
{
    std::string entries;
    for (const VaultDeletion& deletion : vault.deletions)
        entries += chunkOf(deletion.uuid) + bigEndian(deletion.checksum, 2);
    return entries;
}

/// A vault's records as they go into its repaired form.
class Repair {
public:
    Repair(const VaultContents& vault, std::vector<VaultDamage>& lost)
        : vault_(vault)
        , lost_(lost)
    {
    }

    std::string records()
    {
        std::string records;
        next_ = vault_.damage.begin();
        for (std::size_t i = 0; i < vault_.records.size(); ++i)
            appendRecord(i, records);
        noteStrayBytesBefore(vault_.records.size());
        return records;
    }

private:
    void appendRecord(std::size_t index, std::string& records)
    {
        noteStrayBytesBefore(index);
        const VaultRecord& record = vault_.records[index];
        std::string block = blockOf(record);
        bool isKept = true;
        for (; next_ != vault_.damage.end() && next_->record == index; ++next_)
            isKept = mend(record, *next_, block) && isKept;
        if (isKept)
            records += "Pdat" + chunkOf(block);
    }

    /// Damage that concerns no record; that of the head is mended by writing the head anew.
    void noteStrayBytesBefore(std::size_t record)
    {
        for (; next_ != vault_.damage.end() && (!next_->record || *next_->record < record); ++next_) {
            if (next_->kind == Kind::StrayBytes)
                lost_.push_back(*next_);
        }
    }

    std::string blockOf(const VaultRecord& record) const
    {
        if (!record.isWhole)
            return {};
        const auto* const bytes = reinterpret_cast<const char*>(vault_.bytes().bytes());
        return { bytes + record.offset + kTag + kCount, bytes + record.offset + record.length };
    }

    /// False if nothing of the record can be kept. A block of another format stays as it is: its identity may be made
    /// of its bytes.
    bool mend(const VaultRecord& record, const VaultDamage& damage, std::string& block)
    {
        const bool isLost = damage.kind == Kind::RecordCut || damage.kind == Kind::BodyMissing;
        if (isLost)
            lost_.push_back(damage);
        if (isLost || record.format != kPresentFormat)
            return !isLost;
        const std::size_t offset = damage.offset - record.offset - kTag - kCount;
        if (damage.kind == Kind::CountOfAllOnes) {
            block.replace(offset, kCount, kCount, '\0');
        } else if (damage.kind == Kind::BytesBehindBody) {
            lost_.push_back(damage);
            block.resize(offset);
        }
        return true;
    }

    const VaultContents& vault_;
    std::vector<VaultDamage>& lost_;
    std::vector<VaultDamage>::const_iterator next_;
};

} // namespace

NSData repairedVault(const VaultContents& vault, std::vector<VaultDamage>& lost)
{
    std::string bytes = "VL_4Fish" + chunkOf(vault.referenceBuffer) + "Pref" + chunkOf(vault.preferences) + "Dele"
        + chunkOf(deletionListOf(vault)) + "SyIn" + chunkOf(vault.identity) + chunkOf(vault.partner);
    bytes += Repair(vault, lost).records();
    return NSData::dataWithBytes(bytes.data(), bytes.size());
}
