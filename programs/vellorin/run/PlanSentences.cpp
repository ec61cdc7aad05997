#include "Console.h"
#include "SyncPlan.h"

namespace {

/// "1 record goes", "3 records go"
std::string recordsDo(uint64_t number, const std::string& one, const std::string& several)
{
    return counted(number, "record ", "records ") + (number == 1 ? one : several);
}

/// Tells in the order in which people ask: what comes, what goes, what stays twice.
class Sentences {
public:
    Sentences(const SyncPlan& plan, bool alsoSecond)
        : plan(plan)
        , names(shortNames({ plan.first.path, plan.second.path }))
        , alsoSecond(alsoSecond)
    {
    }

    std::vector<std::string> all()
    {
        comesAndGoes();
        const VaultDifference& difference = plan.difference;
        tell(difference.likelyPairs.size(), "was most likely edited on both sides and stays twice",
            "were most likely edited on both sides and stay twice");
        tell(difference.otherCategory.size(), "stands in another category on each side and stays twice",
            "stand in another category on each side and stay twice");
        tell(difference.otherBody.size(),
            "has another content on each side, under one identity; each file keeps its own",
            "have another content on each side, under one identity; each file keeps its own");
        deletions();
        return std::move(sentences);
    }

private:
    void comesAndGoes()
    {
        if (alsoSecond)
            comes(names[0], names[1], plan.second);
        comes(names[1], names[0], plan.first);
        if (alsoSecond)
            goes(names[0], names[1], plan.second);
        goes(names[1], names[0], plan.first);
    }

    void comes(const std::string& from, const std::string& to, const PlannedFile& file)
    {
        tell(file.added.size(), "goes from " + from + " to " + to, "go from " + from + " to " + to);
    }

    void goes(const std::string& because, const std::string& from, const PlannedFile& file)
    {
        const std::string rest = " removed from " + from + " because " + because + " deleted ";
        tell(file.removed.size(), "is" + rest + "it", "are" + rest + "them");
    }

    void tell(uint64_t number, const std::string& one, const std::string& several)
    {
        if (number > 0)
            sentences.push_back(recordsDo(number, one, several));
    }

    /// Those that remove nothing: the records are gone on both sides already.
    void deletions()
    {
        if (!sentences.empty())
            return;
        const auto learns = [&](const std::string& name, uint32_t number) {
            if (number > 0)
                sentences.push_back(name + " takes over " + counted(number, "deletion", "deletions")
                    + " of records that it doesn't have");
        };
        learns(names[0], plan.difference.deletionsOnlyInB);
        if (alsoSecond)
            learns(names[1], plan.difference.deletionsOnlyInA);
    }

    const SyncPlan& plan;
    const std::vector<std::string> names;
    const bool alsoSecond;
    std::vector<std::string> sentences;
};

} // namespace

std::vector<std::string> SyncPlan::sentences(bool alsoSecond) const
{
    return inStep() ? std::vector<std::string>() : Sentences(*this, alsoSecond).all();
}
