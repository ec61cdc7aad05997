#include "LikelyPairs.h"

#include <algorithm>
#include <queue>
#include <string_view>
#include <tuple>

namespace {

constexpr std::size_t kBlock = 8;
constexpr uint32_t kLeastEqualBlocks
    = 3; // 4 bytes of count and 20 letters; fewer are equal by chance among like titles

struct Candidate {
    std::string_view body;
    uint32_t record = 0;
    bool isOfA = false;

    auto operator<=>(const Candidate&) const = default; // NOLINT(modernize-use-nullptr): of the compiler's own making
};

uint32_t equalBlocks(std::string_view a, std::string_view b)
{
    const std::size_t shorter = std::min(a.size(), b.size());
    const auto differs = std::mismatch(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(shorter), b.begin()).first;
    return static_cast<uint32_t>(static_cast<std::size_t>(differs - a.begin()) / kBlock);
}

std::vector<Candidate> sortedCandidates(const VaultContents& a, const std::vector<uint32_t>& fromA,
    const VaultContents& b, const std::vector<uint32_t>& fromB)
{
    std::vector<Candidate> all;
    all.reserve(fromA.size() + fromB.size());
    for (const uint32_t record : fromA)
        all.push_back({ a.records[record].body, record, true });
    for (const uint32_t record : fromB)
        all.push_back({ b.records[record].body, record, false });
    std::sort(all.begin(), all.end());
    return all;
}

/// Sorted candidates as a chain from which pairs are taken, those with the most equal blocks first. Of sorted bodies,
/// neighbours are those that agree the longest; when a pair goes, its neighbours become each other's.
class Chain {
public:
    explicit Chain(std::vector<Candidate> sorted)
        : links_(sorted.size())
        , candidates_(std::move(sorted))
    {
        for (std::size_t i = 0; i < links_.size(); ++i) {
            links_[i].previous = i - 1; // of the first: kNone
            links_[i].next = i + 1 < links_.size() ? i + 1 : kNone;
            if (i + 1 < links_.size())
                links_[i].equalToNext = equalBlocks(candidates_[i].body, candidates_[i + 1].body);
        }
        for (std::size_t i = 0; i < links_.size(); ++i)
            offer(i);
    }

    std::vector<VaultDifference::LikelyPair> pairs()
    {
        std::vector<VaultDifference::LikelyPair> result;
        while (!offers_.empty()) {
            const Offer offer = offers_.top();
            offers_.pop(); // now, as further ones come in
            if (isTaken(offer.first) || isTaken(offer.second))
                continue;
            const Candidate& first = candidates_[offer.first];
            const Candidate& second = candidates_[offer.second];
            result.push_back({ first.isOfA ? first.record : second.record, first.isOfA ? second.record : first.record,
                offer.equalBlocks });
            take(offer.first, offer.second);
        }
        return result;
    }

private:
    static constexpr std::size_t kNone = SIZE_MAX;

    struct Link {
        std::size_t previous = kNone;
        std::size_t next = kNone;
        uint32_t equalToNext = 0;
        bool taken = false;
    };

    struct Offer {
        uint32_t equalBlocks;
        std::size_t first;
        std::size_t second;

        /// The most equal blocks come first, then what stands first.
        bool operator<(const Offer& other) const
        {
            return std::tie(equalBlocks, other.first) < std::tie(other.equalBlocks, first);
        }
    };

    bool isTaken(std::size_t i) const { return links_[i].taken; }

    /// Offers a candidate and the next one as a pair, if they are one.
    void offer(std::size_t i)
    {
        const std::size_t next = links_[i].next;
        if (next != kNone && links_[i].equalToNext >= kLeastEqualBlocks
            && candidates_[i].isOfA != candidates_[next].isOfA)
            offers_.push({ links_[i].equalToNext, i, next });
    }

    void take(std::size_t first, std::size_t second)
    {
        const std::size_t before = links_[first].previous;
        const std::size_t behind = links_[second].next;
        links_[first].taken = links_[second].taken = true;
        if (behind != kNone)
            links_[behind].previous = before;
        if (before == kNone)
            return;
        links_[before].next = behind;
        links_[before].equalToNext
            = std::min({ links_[before].equalToNext, links_[first].equalToNext, links_[second].equalToNext });
        offer(before);
    }

    std::vector<Link> links_;
    std::vector<Candidate> candidates_;
    std::priority_queue<Offer> offers_;
};

} // namespace

std::vector<VaultDifference::LikelyPair> likelyPairsOf(const VaultContents& a, const std::vector<uint32_t>& fromA,
    const VaultContents& b, const std::vector<uint32_t>& fromB)
{
    std::vector<VaultDifference::LikelyPair> pairs = Chain(sortedCandidates(a, fromA, b, fromB)).pairs();
    std::sort(pairs.begin(), pairs.end(), [](const auto& one, const auto& other) { return one.a < other.a; });
    return pairs;
}
