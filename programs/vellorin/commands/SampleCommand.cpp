#include "AllCommands.h"

#include "Console.h"
#include "ExitStatus.h"
#include "Interruption.h"
#include "NSFileManager.h"
#include "SampleVaults.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace {

constexpr uint32_t kSmallPair = UINT32_MAX;

class SampleCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page;
        page.name = "sample";
        page.summary = "make a pair of sample vaults to try things with";
        page.operands
            = { { "DIR", "the folder for them; it is made if it isn't there", &folder_, 1, 1, Completion::Folder } };
        page.options
            = { { "--records", "", "N", "make a large pair instead, with that many records on each side", &records_ },
                  { "--seed", "", "N", "choose the content of a large pair [1]", &seed_ } };
        page.description = {
            "The vaults are laptop.vlr and stick.vlr, and their master password is \"open sesame\". They began as "
            "copies of each other and have come apart in every way that a merge tells apart.",
            "Each record of a large pair takes about 400 bytes. Of a hundred, one was edited in the first vault and "
            "one in the second. The same seed makes the same records.",
            "A file that is there already is not overwritten: then nothing is written.",
        };
        page.examples = { { "vellorin sample /tmp/try", "make two small vaults that have come apart" },
            { "vellorin sample --records 100000 /tmp/large", "make two large ones" } };
        return page;
    }

    int run(Console& console) override
    {
        makeFolder();
        const std::string first = freePath("laptop.vlr");
        const std::string second = freePath("stick.vlr");
        const SampleVaults pair = records_ == kSmallPair ? makeSmallPair() : makeLarge(console);
        write(*pair.first, first, kFailed);
        write(*pair.second, second, kHalfWritten);
        console.say(
            "made " + printable(first) + " and " + printable(second) + "; their master password is \"open sesame\"");
        return kDone;
    }

private:
    void makeFolder() const
    {
        if (::mkdir(folder_.c_str(), 0777) != 0 && errno != EEXIST)
            throw CommandFailure(kFailed, "can't make " + folder_ + ": " + std::strerror(errno));
    }

    std::string freePath(const char* name) const
    {
        std::string path = folder_ + "/" + name;
        struct stat existing { };
        if (::lstat(path.c_str(), &existing) == 0)
            throw CommandFailure(kRefused, path + " is there already, and stays; no sample was written");
        return path;
    }

    SampleVaults makeLarge(Console& console) const
    {
        uint64_t made = 0;
        return makeLargePair(records_, seed_, [&] {
            throwIfInterrupted();
            console.progress("making records", ++made, 2 * uint64_t { records_ });
        });
    }

    static void write(VLR_Document& vault, const std::string& path, ExitStatus statusIfNot)
    {
        VLR_MemoryBlock contents;
        vault.ToBlock(contents);
        std::string reason;
        const NSData bytes = NSData::dataWithBytesNoCopy(contents.Bytes(), contents.Length());
        if (!LinuxFileManager().writeToFile(bytes, path, &reason))
            throw CommandFailure(statusIfNot, "can't write " + path + ": " + reason);
    }

    std::string folder_;
    uint32_t records_ = kSmallPair;
    uint64_t seed_ = 1;
};

} // namespace

std::unique_ptr<Command> sampleCommand()
{
    return std::make_unique<SampleCommand>();
}
