// Makes sample vaults, and shows what vaults hold.

#include "SampleVaults.h"
#include "VLR_Exception.h"
#include "VLR_SystemConversions.h"
#include "VaultListing.h"

#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

constexpr char kHelp[] = R"(usage: vellorin-sample [--records NUMBER] [--seed NUMBER] FOLDER
       vellorin-sample --show FILE...

Writes two vaults into FOLDER, laptop.vlr and stick.vlr, that have come apart in
every way that a merge tells apart; their master password is "open sesame".

  --records NUMBER  make a large pair instead, with that many records a side
  --seed NUMBER     choose the content of a large pair (1)
  --show            list identity, records and deletions of each FILE
  --help, --version

example: vellorin-sample /tmp/try && vellorin-sync /tmp/try/*.vlr
)";

struct Options {
    bool help = false;
    bool version = false;
    bool show = false;
    std::optional<uint32_t> records;
    uint64_t seed = 1;
    std::vector<std::string> operands;
};

template <class Number>
bool parseNumber(std::string_view text, Number& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

/// Absent after a message on standard error.
std::optional<Options> parseOptions(const std::vector<std::string>& arguments)
{
    Options options;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        const bool hasNext = i + 1 < arguments.size();
        uint32_t records = 0;
        if (optionsEnded || argument.size() < 2 || argument[0] != '-')
            options.operands.push_back(argument);
        else if (argument == "--")
            optionsEnded = true;
        else if (argument == "--help")
            options.help = true;
        else if (argument == "--version")
            options.version = true;
        else if (argument == "--show")
            options.show = true;
        else if (argument == "--records" && hasNext && parseNumber(arguments[i + 1], records)) {
            options.records = records;
            ++i;
        } else if (argument == "--seed" && hasNext && parseNumber(arguments[i + 1], options.seed))
            ++i;
        else {
            std::cerr << "vellorin-sample: wrong option or number: " << argument << "\nTry --help.\n";
            return std::nullopt;
        }
    }
    return options;
}

bool writeVault(VLR_Document& document, const std::string& path)
{
    struct stat existing {};
    if (::lstat(path.c_str(), &existing) == 0) {
        std::cerr << "vellorin-sample: exists already: " << path << '\n';
        return false;
    }
    VLR_MemoryBlock contents;
    document.ToBlock(contents);
    if (!VLRWriteToFile(contents, path)) {
        std::cerr << "vellorin-sample: can't write " << path << '\n';
        return false;
    }
    return true;
}

int makePair(const Options& options)
{
    const std::string& folder = options.operands.front();
    if (::mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) {
        std::cerr << "vellorin-sample: can't make " << folder << ": " << std::strerror(errno) << '\n';
        return kFailed;
    }
    const SampleVaults pair = options.records ? makeLargePair(*options.records, options.seed) : makeSmallPair();
    const bool written
        = writeVault(*pair.first, folder + "/laptop.vlr") && writeVault(*pair.second, folder + "/stick.vlr");
    return written ? kDone : kFailed;
}

int show(const std::vector<std::string>& paths)
{
    bool allListed = true;
    for (const std::string& path : paths)
        allListed = listVault(path, std::cout) && allListed;
    std::cout.flush();
    return allListed && std::cout ? kDone : kFailed;
}

int run(const Options& options)
{
    if (options.help || options.version) {
        std::cout << (options.help ? kHelp : "vellorin-sample " VELLORIN_VERSION "\n") << std::flush;
        return std::cout ? kDone : kFailed;
    }
    if (options.show && !options.operands.empty())
        return show(options.operands);
    if (!options.show && options.operands.size() == 1)
        return makePair(options);
    std::cerr << (options.show ? "vellorin-sample: name the files to show" : "vellorin-sample: name one folder")
              << "\nTry --help.\n";
    return kWrongUsage;
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<Options> options = parseOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (!options)
        return kWrongUsage;
    try {
        return run(*options);
    } catch (const VLR_Exception& exception) {
        std::cerr << "vellorin-sample: " << VLRToSys(exception.message) << '\n';
    } catch (const std::exception& exception) {
        std::cerr << "vellorin-sample: " << exception.what() << '\n';
    }
    return kFailed;
}
