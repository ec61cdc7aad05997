// Opening a vault file with its password and writing it enciphered anew, against reading the same bytes and deciphering
// them once, in one pass. Usage: password-bench FOLDER [RECORDS]; the file is made in FOLDER and removed again.

#include "Measure.h"
#include "SampleVaults.h"
#include "VLR_PooledMemory.h"
#include "VLR_SystemConversions.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <unistd.h>

namespace {

constexpr Measure::Goal kGoal { 1.6, 2.5 };

void read(VLR_MemoryBlock& bytes, const std::string& path)
{
    if (!VLRReadFromFile(bytes, path)) {
        std::fprintf(stderr, "password-bench: can't read %s\n", path.c_str());
        std::exit(1);
    }
}

void readAndDecipher(const VLR_BlowFish& fish, const std::string& path)
{
    VLR_MemoryBlock bytes;
    read(bytes, path);
    bytes.Resize(bytes.Length() - bytes.Length() % VLR_BlowFish::kBlockLength);
    fish.DecryptMemoryBlock(bytes);
}

std::unique_ptr<VLR_Document> open(const std::string& path)
{
    VLR_MemoryBlock bytes;
    read(bytes, path);
    auto document = std::make_unique<VLR_Document>(VLR_DocumentReadDecrypted);
    document->ChangePassword(sampleMasterPassword());
    if (document->FromBlock(bytes) != 0) {
        std::fputs("password-bench: the vault was read as damaged\n", stderr);
        std::exit(1);
    }
    return document;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs("usage: password-bench FOLDER [RECORDS]\n", stderr);
        return 2;
    }
    VLR_SetRawMemory(VLR_PooledMemory()); // as the programs do
    const std::string path = std::string(argv[1]) + "/password-bench.vlr";
    const uint32_t count = argc > 2 ? static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10)) : 100000;
    {
        VLR_MemoryBlock contents;
        makeLargePair(count, /*seed=*/1).first->ToBlock(contents);
        if (!VLRWriteToFile(contents, path)) {
            std::fprintf(stderr, "password-bench: can't write %s\n", path.c_str());
            return 1;
        }
        std::printf("%u records, %u bytes\n", count, contents.Length());
    }
    VLR_BlowFish fish;
    fish.SetPassword(sampleMasterPassword(), /*padToKeyLength=*/false);
    std::unique_ptr<VLR_Document> document;
    VLR_MemoryBlock written;

    const double pass = Measure::best([] {}, [&] { readAndDecipher(fish, path); });
    const double opening = Measure::best([&] { document.reset(); }, [&] { document = open(path); });
    const double writing = Measure::best([&] { written.FreeStorage(); }, [&] { document->ToBlock(written); });
    Measure::reportHeader();
    Measure::report("open with the password", opening, "read and decipher in one pass", pass, kGoal);
    Measure::report("write enciphered, in memory", writing, "read and decipher in one pass", pass, kGoal);
    ::unlink(path.c_str());
    return 0;
}
