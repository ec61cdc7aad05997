#include "SyncPlan.h"

#include "ExitStatus.h"
#include "Journal.h"
#include "NSFileManager.h"
#include "RecordIndex.h"
#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_Synchronize.h"
#include "VLR_SystemConversions.h"
#include "VaultObjections.h"

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

VLR_ForeignBytes foreignBytesOf(const NSData& data)
{
    return { data.bytes(), static_cast<uint32_t>(data.length()) };
}

MergedFile writtenBy(VLR_Document& document, const SyncPlan& plan)
{
    auto stream = std::make_unique<VLR_GatheringStream>(
        std::vector { foreignBytesOf(plan.first.bytes()), foreignBytesOf(plan.second.bytes()) });
    const StVLR_DocumentStream whileWriting(document, stream.get());
    document.WriteVersion4Contents();
    return { std::move(stream) };
}

/// As the action does, on documents that keep their records encrypted and borrow from the plan's bytes.
void merge(SyncPlan& plan)
{
    VLR_MemoryBlock firstBlock;
    VLR_MemoryBlock secondBlock;
    SysToVLR(plan.first.bytes(), firstBlock);
    SysToVLR(plan.second.bytes(), secondBlock);
    VLR_Document first(VLR_DocumentReadKeepEncrypted);
    VLR_Document second(VLR_DocumentReadKeepEncrypted);
    first.FromBlock(firstBlock);
    second.FromBlock(secondBlock);
    const VLR_Synchronize counters(first, second, VLR_SyncMerge);
    plan.first.merged = writtenBy(first, plan);
    plan.second.merged = writtenBy(second, plan);
    plan.identical = counters.identical;
    plan.duplicated = counters.duplicated;
}

/// UUIDs of the records that come to a file and go from it, by UUID and category, each as often as it does.
void noteComingAndGoing(PlannedFile& file, const RecordIndex& before, const std::vector<VaultRecord>& after)
{
    std::vector<uint32_t> goes(before.count()); // how many of a kind, where the first of it stands
    std::vector<uint32_t> kinds;
    kinds.reserve(before.count());
    for (uint32_t i = 0; i < before.count(); ++i) {
        kinds.push_back(before.sameCategory(before.at(i)).value());
        ++goes[kinds.back()];
    }
    for (const VaultRecord& record : after) {
        const std::optional<uint32_t> kind = before.sameCategory(RecordIndex::sought(record));
        if (kind && goes[*kind] > 0)
            --goes[*kind];
        else
            file.added.emplace_back(record.uuid);
    }
    for (uint32_t i = 0; i < before.count(); ++i) {
        if (goes[kinds[i]] > 0) {
            --goes[kinds[i]];
            file.removed.emplace_back(before.at(i).record.uuid);
        }
    }
}

/// By the bytes that were merged, which are in one piece for that time alone.
void noteChanges(PlannedFile& file, const RecordIndex& before)
{
    const VaultContents merged(file.merged->bytes());
    file.merged->records = merged.records.size();
    file.merged->deletions = merged.deletions.size();
    noteComingAndGoing(file, before, merged.records);
}

} // namespace

NSData MergedFile::bytes() const
{
    std::vector<NSData::ByteRange> ranges;
    for (const VLR_ForeignBytes& piece : pieces->Pieces())
        ranges.push_back({ piece.bytes, piece.length });
    return NSData::dataWithRangesNoCopy(std::move(ranges));
}

PlannedFile::PlannedFile(std::string path, NSData bytes)
    : path(std::move(path))
    , contents(contentsOf(this->path, std::move(bytes)))
{
}

const std::string& PlannedFile::hash() const
{
    if (hash_.empty())
        hash_ = hashOf(bytes());
    return hash_;
}

SyncPlan::SyncPlan(PlannedFile firstFile, PlannedFile secondFile)
    : first(std::move(firstFile))
    , second(std::move(secondFile))
{
    const RecordIndex ofFirst(first.contents.records);
    const RecordIndex ofSecond(second.contents.records);
    difference = differenceOf(first.contents, ofFirst, second.contents, ofSecond);
    const auto differ = objectionToMasters({ first.path, first.contents }, { second.path, second.contents });
    if (differ)
        throw CommandFailure(
            kRefused, *differ + "; give both vaults the same one and synchronise again; no file was changed");
    if (difference.inStep && !difference.repeatsUuid && first.contents.isCarriedWhole()
        && second.contents.isCarriedWhole()) {
        identical = static_cast<uint32_t>(first.contents.records.size() + second.contents.records.size());
        return;
    }
    try {
        merge(*this);
    } catch (const VLR_Exception& failure) {
        throw CommandFailure(kFailed, mergeFailure(failure, *this));
    }
    noteChanges(first, ofFirst);
    noteChanges(second, ofSecond);
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
