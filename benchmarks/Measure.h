#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

// What the benchmarks within one process share: timing, and a figure beside its goal.

namespace Measure {

using Clock = std::chrono::steady_clock;

inline double secondsOf(const std::function<void()>& work)
{
    const auto begin = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// Seconds, the best of some rounds: what disturbs only makes it slower. `prepare` is not timed.
inline double best(const std::function<void()>& prepare, const std::function<void()>& work, int rounds = 7)
{
    double fastest = 1e9;
    for (int round = 0; round < rounds; ++round) {
        prepare();
        fastest = std::min(fastest, secondsOf(work));
    }
    return fastest;
}

/// Calls per second of each work, the best of some rounds. The works take turns, so that what disturbs hits all.
inline std::vector<double> rates(const std::vector<std::function<void()>>& works, int rounds = 9)
{
    constexpr double kRoundSeconds = 0.05;
    std::vector<double> result(works.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < works.size(); ++i) {
            long calls = 0;
            const auto begin = Clock::now();
            std::chrono::duration<double> spent {};
            do {
                works[i]();
                ++calls;
                spent = Clock::now() - begin;
            } while (spent.count() < kRoundSeconds);
            result[i] = std::max(result[i], static_cast<double>(calls) / spent.count());
        }
    }
    return result;
}

/// What a ratio should be at most; beyond `worst` it isn't acceptable either.
struct Goal {
    double most = 0;
    double worst = 0; // 0: none but the goal
};

inline const char* verdict(double value, const Goal& goal)
{
    if (value <= goal.most)
        return "ok";
    return value <= goal.worst ? "MISSED, acceptable" : "MISSED";
}

/// One line: our time, the other's, the ratio, the goal and whether it is met.
inline void report(const char* what, double ours, const char* besides, double theirs, const Goal& goal)
{
    const double ratio = ours / theirs;
    std::printf(
        "%-34s %9.2f ms  %-30s %9.2f ms  %6.2f  %.1f", what, ours * 1e3, besides, theirs * 1e3, ratio, goal.most);
    if (goal.worst > 0)
        std::printf(" [%.1f]", goal.worst);
    std::printf("  %s\n", verdict(ratio, goal));
}

/// The columns that `report` fills.
inline void reportHeader()
{
    std::printf("%-34s %12s  %-30s %12s  %6s  %s\n", "", "time", "against", "time", "ratio", "at most [worst]");
}

} // namespace Measure
