// Makes the pair of vaults that the programs are compared with: see makeLargePair.
// Usage: make-pairs RECORDS ORDER FOLDER, where ORDER is `same`, or `shuffled` for a second vault whose records stand
// in no order that the first one has.

#include "SampleVaults.h"
#include "VLR_SystemConversions.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

/// The same shuffle each time, spelled out because std::shuffle may differ between libraries.
void shuffle(VLR_Document& document)
{
    std::vector<uint32_t> order(document.recordList.Count());
    std::iota(order.begin(), order.end(), 0u);
    std::mt19937_64 random(5);
    for (std::size_t i = order.size(); i > 1; --i)
        std::swap(order[i - 1], order[random() % i]);
    document.recordList.Reorder(order);
}

bool write(VLR_Document& document, const std::string& path)
{
    VLR_MemoryBlock contents;
    document.ToBlock(contents);
    return VLRWriteToFile(contents, path);
}

} // namespace

int main(int argc, char** argv)
{
    const bool shuffled = argc == 4 && std::strcmp(argv[2], "shuffled") == 0;
    if (argc != 4 || (!shuffled && std::strcmp(argv[2], "same") != 0)) {
        std::fputs("usage: make-pairs RECORDS same|shuffled FOLDER\n", stderr);
        return 2;
    }
    const SampleVaults pair = makeLargePair(static_cast<uint32_t>(std::strtoul(argv[1], nullptr, 10)), /*seed=*/1);
    if (shuffled)
        shuffle(*pair.second);
    const std::string folder = argv[3];
    if (write(*pair.first, folder + "/laptop.vlr") && write(*pair.second, folder + "/stick.vlr"))
        return 0;
    std::fprintf(stderr, "make-pairs: can't write into %s\n", folder.c_str());
    return 1;
}
