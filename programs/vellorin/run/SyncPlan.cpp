#include "SyncPlan.h"

#include "ExitStatus.h"
#include "Journal.h"
#include "NSFileManager.h"
#include "TextHash.h"
#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_Synchronize.h"
#include "VLR_SystemConversions.h"
#include "VaultObjections.h"

#include <string_view>
#include <unordered_map>
#include <utility>

namespace {

VaultContents contentsOf(const std::string& path, NSData bytes)
{
    try {
        return VaultContents(std::move(bytes));
    } catch (const NoVault& noVault) {
        throw CommandFailure(kFailed, path + ": " + noVault.what());
    }
}

/// The place where the core gave up, and the damage that is the likely reason.
std::string mergeFailure(const VLR_Exception& failure, const SyncPlan& plan)
{
    std::string text = "the vaults can't be merged (" + VLRToSys(failure.function) + ")";
    for (const PlannedFile* const file : { &plan.first, &plan.second }) {
        for (const VaultDamage& damage : file->contents.damage) {
            if (damage.losesRecord())
                return text + "; " + file->path + ": " + describe(damage.kind) + " (at byte "
                    + std::to_string(damage.offset) + "); \"vellorin check --repair OUT " + file->path
                    + "\" keeps what is whole; no file was changed";
        }
    }
    return text + "; no file was changed";
}

/// As the action does, on documents that keep their records encrypted.
void merge(SyncPlan& plan)
{
    VLR_MemoryBlock firstBlock = SysToVLR(plan.first.bytes());
    VLR_MemoryBlock secondBlock = SysToVLR(plan.second.bytes());
    VLR_Document first(VLR_DocumentReadKeepEncrypted);
    VLR_Document second(VLR_DocumentReadKeepEncrypted);
    first.FromBlock(firstBlock);
    second.FromBlock(secondBlock);
    const VLR_Synchronize counters(first, second, VLR_SyncMerge);
    first.ToBlock(firstBlock);
    second.ToBlock(secondBlock);
    plan.first.merged.emplace(VLRToSys(firstBlock));
    plan.second.merged.emplace(VLRToSys(secondBlock));
    plan.identical = counters.identical;
    plan.duplicated = counters.duplicated;
}

struct RecordKey {
    std::string_view uuid;
    std::string_view category;

    bool operator==(const RecordKey&) const = default;
};

struct RecordKeyHash {
    std::size_t operator()(const RecordKey& key) const { return TextHash::of({ key.uuid, key.category }); }
};

/// UUIDs of those in `records` that `others` lack, each as often as it is missing there.
std::vector<std::string> lacking(const std::vector<VaultRecord>& others, const std::vector<VaultRecord>& records)
{
    std::unordered_map<RecordKey, std::size_t, RecordKeyHash> there;
    there.reserve(others.size());
    for (const VaultRecord& record : others)
        ++there[{ record.uuid, record.category }];
    std::vector<std::string> result;
    for (const VaultRecord& record : records) {
        std::size_t& left = there[{ record.uuid, record.category }];
        if (left == 0)
            result.emplace_back(record.uuid);
        else
            --left;
    }
    return result;
}

void noteChanges(PlannedFile& file)
{
    file.added = lacking(file.contents.records, file.merged->records);
    file.removed = lacking(file.merged->records, file.contents.records);
}

} // namespace

PlannedFile::PlannedFile(std::string path, NSData bytes)
    : path(std::move(path))
    , contents(contentsOf(this->path, std::move(bytes)))
    , hash(hashOf(contents.bytes()))
{
}

SyncPlan::SyncPlan(PlannedFile firstFile, PlannedFile secondFile)
    : first(std::move(firstFile))
    , second(std::move(secondFile))
    , difference(differenceOf(first.contents, second.contents))
{
    const auto differ = objectionToMasters({ first.path, first.contents }, { second.path, second.contents });
    if (differ)
        throw CommandFailure(
            kRefused, *differ + "; give both vaults the same one and synchronise again; no file was changed");
    try {
        merge(*this);
    } catch (const VLR_Exception& failure) {
        throw CommandFailure(kFailed, mergeFailure(failure, *this));
    }
    noteChanges(first);
    noteChanges(second);
}

bool SyncPlan::firstStaysAsItIs() const
{
    return first.added.empty() && first.removed.empty() && difference.deletionsOnlyInB == 0;
}

NSData bytesOfFile(const std::string& path)
{
    std::optional<NSData> bytes = LinuxFileManager().dataWithContentsOfFile(path);
    if (!bytes)
        throw CommandFailure(kFailed, path + ": can't be read; no file was changed");
    return std::move(*bytes);
}

SyncPlan planFor(const std::string& first, const std::string& second)
{
    return { PlannedFile(first, bytesOfFile(first)), PlannedFile(second, bytesOfFile(second)) };
}
