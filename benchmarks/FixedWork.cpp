// Small pieces of work that are always the same, for counting instructions. Usage: fixed-work NAME FOLDER. What counts
// happens in `countedWork`; what is made before does not.

#include "SampleRecords.h"
#include "SampleVaults.h"
#include "VLR_SystemConversions.h"

#include <cstdio>
#include <functional>
#include <string>

/// The function whose calls are counted, by its name: neither to be inlined nor to be split into variants.
extern "C" [[gnu::noipa]] void countedWork(const std::function<void()>& work)
{
    work();
}

namespace {

constexpr uint32_t kMebibyte = 1u << 20;
constexpr uint32_t kRecords = 2000;

void cipher(const std::string&)
{
    VLR_BlowFish fish;
    fish.SetPassword(sampleMasterPassword(), /*padToKeyLength=*/false);
    VLR_MemoryBlock block(kMebibyte);
    countedWork([&] { fish.EncryptMemoryBlock(block); });
}

void keySetUp(const std::string&)
{
    VLR_BlowFish fish;
    countedWork([&] { fish.SetPassword(sampleMasterPassword(), /*padToKeyLength=*/false); });
}

void find(const std::string&)
{
    SampleRecords records(kRecords);
    const VLR_String wanted = SampleRecords::text("ab");
    countedWork([&] { records.document.FindContains(wanted, /*addToResults=*/false); });
}

void sort(const std::string&)
{
    SampleRecords records(kRecords);
    records.shuffle();
    records.document.SetSortParams(VLR_SortUsername, false);
    countedWork([&] { records.document.SortRecords(); });
}

void readAndWrite(const std::string& folder)
{
    const std::string path = folder + "/fixed-work.vlr";
    VLR_MemoryBlock contents;
    makeLargePair(kRecords, /*seed=*/1).first->ToBlock(contents);
    VLRWriteToFile(contents, path);
    countedWork([&] {
        VLR_MemoryBlock bytes;
        VLRReadFromFile(bytes, path);
        VLR_Document document(VLR_DocumentReadDecrypted);
        document.ChangePassword(sampleMasterPassword());
        document.FromBlock(bytes);
        document.ToBlock(contents);
        VLRWriteToFile(contents, path);
    });
    std::remove(path.c_str());
}

struct Work {
    const char* name;
    void (*run)(const std::string& folder);
};

constexpr Work kWorks[] = { { "cipher-1-MiB", cipher }, { "key-set-up", keySetUp }, { "find-in-2000", find },
    { "sort-2000", sort }, { "read-and-write-2000", readAndWrite } };

} // namespace

int main(int argc, char** argv)
{
    const std::string name = argc > 1 ? argv[1] : "";
    for (const Work& work : kWorks) {
        if (name == "--list")
            std::puts(work.name);
        else if (argc == 3 && name == work.name) {
            work.run(argv[2]);
            return 0;
        }
    }
    if (name == "--list")
        return 0;
    std::fputs("usage: fixed-work --list | NAME FOLDER\n", stderr);
    return 2;
}
