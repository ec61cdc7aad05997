#include "CoreFixture.h"
#include "ScriptedHost.h"
#include "VLR_RandomPasswordParts.h"
#include "VLR_System.h"

#include <cmath>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

// The tables that the programs are installed with, drawn from often enough to see that each result is as likely as
// docs/generators.md says. The draws are the same in every run.

namespace {

std::string contentOf(VLR_FilePathType type)
{
    std::ifstream file(str(VLR_System::StdioPathToFile(type)), std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void scriptDraws(std::size_t count)
{
    std::mt19937 random(11);
    ScriptedHost::get() = ScriptedHost();
    for (std::size_t i = 0; i < count; ++i)
        ScriptedHost::get().draws.push_back(static_cast<long>(random() >> 1));
}

/// How far a sum of squared deviations lies from what chance makes it, in standard deviations of the latter.
class ChiSquare {
public:
    void add(double observed, double expected)
    {
        sum += (observed - expected) * (observed - expected) / expected;
        cells += 1;
    }
    void endGroup() { cells -= 1; } // the group's last count follows from the others

    double deviations() const { return (sum - cells) / std::sqrt(2 * cells); }
    double cells = 0;

private:
    double sum = 0;
};

/// For each word of a list the number of draws out of `content.size()` that pick it.
std::map<std::string, double> weightsOf(const std::string& content)
{
    std::map<std::string, double> weights;
    const std::size_t lastPlace = content.size() - 255;
    for (std::size_t place = 0; place <= lastPlace; ++place) {
        const std::size_t first = content.find('\r', place) + 1;
        const std::string word = content.substr(first, content.find('\r', first) - first);
        weights[word] += place == lastPlace ? 255 : 1;
    }
    return weights;
}

TEST(GeneratorStrength, WordsComeOutByTheirWeights)
{
    constexpr int kPicks = 60000;
    constexpr std::size_t kGroups = 200;
    for (const bool shortList : { true, false }) {
        const std::string content = contentOf(shortList ? VLR_FilePathDictionaryShort : VLR_FilePathDictionary);
        const std::map<std::string, double> weights = weightsOf(content);
        EXPECT_GE(weights.size(), shortList ? 2000u : 20000u);
        const auto groupOf = [&](const std::string& word) { return std::hash<std::string>()(word) % kGroups; };
        std::vector<double> expected(kGroups), observed(kGroups);
        for (const auto& [word, weight] : weights)
            expected[groupOf(word)] += weight * kPicks / static_cast<double>(content.size());
        scriptDraws(kPicks);
        for (int i = 0; i < kPicks; ++i) {
            VLR_String word;
            VLR_RandomWord::RandomWordFromDictionary(word, shortList);
            ASSERT_TRUE(weights.count(str(word))) << str(word);
            observed[groupOf(str(word))] += 1;
        }
        ChiSquare chiSquare;
        for (std::size_t i = 0; i < kGroups; ++i)
            chiSquare.add(observed[i], expected[i]);
        chiSquare.endGroup();
        EXPECT_LT(std::abs(chiSquare.deviations()), 4) << shortList;
    }
}

TEST(GeneratorStrength, PairsFollowByTheirWeights)
{
    std::map<std::string, std::map<std::string, double>> followers;
    std::istringstream lines(contentOf(VLR_FilePathPhonemes));
    for (std::string line; std::getline(lines, line);) {
        for (std::size_t i = 3; i < line.size(); i += 2)
            followers[line.substr(0, 2)][line.substr(i, 2)] += 1;
    }

    constexpr int kPasswords = 60000;
    std::map<std::string, double> firsts;
    std::map<std::string, std::map<std::string, double>> observed;
    std::map<std::string, double> visits;
    scriptDraws(5 * kPasswords);
    for (int i = 0; i < kPasswords; ++i) {
        std::string text;
        for (int pair = 0; pair < 5; ++pair)
            VLR_PhoneticPassword::Object().ExtendPassword(text);
        firsts[text.substr(0, 2)] += 1;
        for (std::size_t at = 0; at + 4 <= text.size(); at += 2) {
            observed[text.substr(at, 2)][text.substr(at + 2, 2)] += 1;
            visits[text.substr(at, 2)] += 1;
        }
    }

    ChiSquare first, further;
    for (const auto& [key, row] : followers) {
        first.add(firsts[key], static_cast<double>(kPasswords) / static_cast<double>(followers.size()));
        double total = 0;
        for (const auto& [pair, weight] : row)
            total += weight;
        for (const auto& [pair, weight] : row) {
            EXPECT_TRUE(followers.count(pair)) << key << pair;
            further.add(observed[key][pair], std::max(weight / total * visits[key], 1e-9));
        }
        further.endGroup();
        EXPECT_EQ(observed[key].size(), row.size()) << key; // nothing else has followed
    }
    first.endGroup();
    EXPECT_LT(std::abs(first.deviations()), 4);
    EXPECT_LT(std::abs(further.deviations()), 4);
    EXPECT_GT(further.cells, 1000);
}

} // namespace
