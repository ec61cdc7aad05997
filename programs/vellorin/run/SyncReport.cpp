#include "SyncReport.h"

#include "SyncPlan.h"

#include <set>
#include <string_view>

namespace {

ReportedFile reported(const PlannedFile& file, bool isReplaced)
{
    ReportedFile result;
    result.path = file.path;
    result.recordsBefore = file.contents.records.size();
    result.recordsAfter = isReplaced ? file.merged->records : file.contents.records.size();
    result.added = isReplaced ? file.added.size() : 0;
    result.removed = isReplaced ? file.removed.size() : 0;
    result.deletionsAfter = isReplaced ? file.merged->deletions : file.contents.deletions.size();
    return result;
}

KeptTwice pairOf(const VaultRecord& first, const VaultRecord& second)
{
    return { std::string(first.uuid), std::string(second.uuid), std::string(first.category),
        first.uuid == second.uuid };
}

} // namespace

std::vector<KeptTwice> keptTwiceBy(const SyncPlan& plan)
{
    const std::vector<VaultRecord>& first = plan.first.contents.records;
    const std::vector<VaultRecord>& second = plan.second.contents.records;
    std::vector<KeptTwice> pairs;
    for (const VaultDifference::LikelyPair& pair : plan.difference.likelyPairs)
        pairs.push_back(pairOf(first[pair.a], second[pair.b]));
    std::set<std::string_view> told; // one identity may stand in several categories on a side
    for (const VaultDifference::Match& pair : plan.difference.otherCategory) {
        if (told.insert(first[pair.a].uuid).second)
            pairs.push_back(pairOf(first[pair.a], second[pair.b]));
    }
    return pairs;
}

SyncReport reportOf(const SyncPlan& plan, bool alsoSecond)
{
    SyncReport report;
    const bool hasNothingToDo = alsoSecond ? plan.inStep() : plan.firstStaysAsItIs();
    report.outcome = hasNothingToDo ? SyncReport::Outcome::InStep : SyncReport::Outcome::Planned;
    report.first = reported(plan.first, !hasNothingToDo);
    report.second = reported(plan.second, !hasNothingToDo && alsoSecond);
    report.identical = plan.identical;
    report.duplicated = plan.duplicated;
    if (!hasNothingToDo) {
        report.sentences = plan.sentences(alsoSecond);
        report.keptTwice = keptTwiceBy(plan);
    }
    return report;
}
