#include "FuzzHost.h"
#include "FuzzTexts.h"
#include "NSBundle.h"
#include "VLR_RandomPasswordParts.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

// The generators' files: a table of letter pairs, and a list of words. What is drawn stands in the file, where a plain
// reading of it finds it. (Built without access control: the program itself reads a table only once.)

namespace {

constexpr std::size_t kListLength = 600; // always: a list's size is taken once in a process
constexpr std::size_t kReadLength = 255;

/// A program folder of this process, gone at its end.
class Folder {
public:
    Folder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "vellorin-fuzz-XXXXXX").string();
        expect(::mkdtemp(pattern.data()) != nullptr, "a scratch folder can be made");
        path = pattern;
        std::filesystem::create_directory(path / "resources");
        NSBundle::setMainBundle(NSBundle(path.string()));
    }
    ~Folder()
    {
        std::error_code error;
        std::filesystem::remove_all(path, error);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    void putList(const std::string& content) const
    {
        std::ofstream(path / "resources" / "RandomWordsDictionary.txt", std::ios::binary) << content;
    }

private:
    std::filesystem::path path;
};

const Folder& folder()
{
    static const Folder made;
    return made;
}

/// Pair to followers, as the lines have them; of a pair's lines the last counts.
std::map<std::string, std::string> tableOf(const std::string& text)
{
    std::map<std::string, std::string> table;
    std::string line;
    for (const char c : text + "\n") {
        if (c != '\n' && c != '\r') {
            line += c;
            continue;
        }
        if (line.size() > 3)
            table[line.substr(0, 2)] = line.substr(3);
        line.clear();
    }
    return table;
}

bool isFollower(const std::string& followers, const std::string& pair)
{
    for (std::size_t i = 0; i < followers.size(); i += 2) {
        if (followers.substr(i, 2) == pair)
            return true;
    }
    return false;
}

void readTable(const std::string& text)
{
    FuzzHost::get().file = text;
    const std::map<std::string, std::string> table = tableOf(text);
    const std::unique_ptr<VLR_PhoneticPassword> read(new VLR_PhoneticPassword);
    std::string pair;
    expect(succeeds([&] { pair = read->RandomFirst(); }) == !table.empty(), "a table with a line has a first pair");
    if (table.empty())
        return;
    expect(table.count(pair) == 1, "a first pair is one of the table's");
    const std::string follower = read->RandomSecond(pair);
    expect(isFollower(table.at(pair), follower), "what follows a pair stands behind it in the table");
    std::string password;
    succeeds([&] { read->GenPassword_(password); });
    expect(password.size() <= 10, "five pairs make a password");
}

bool isSpace(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

/// The second word of 254 bytes from the place that is drawn, which end behind a line feed too, and of the zero bytes
/// behind them.
std::string secondWord(const std::string& list)
{
    FuzzHost::get().drawn = 0;
    const std::size_t drawn = (FuzzHost::get().draw() & 0x7FFFFFFF) % list.size();
    std::string stretch = list.substr(std::min(drawn, list.size() - kReadLength), kReadLength - 1);
    stretch.resize(std::min(stretch.find('\n'), stretch.size() - 1) + 1);
    stretch.resize(kReadLength + 1);
    const auto gap = std::find_if(stretch.begin(), stretch.end(), isSpace);
    const auto first = std::find_if_not(gap, stretch.end(), isSpace);
    return std::string(first, std::find_if(first, stretch.end(), isSpace));
}

void readList(const std::string& text)
{
    std::string content;
    while (content.size() < kListLength)
        content += text.empty() ? " " : text.substr(0, kListLength - content.size());
    folder().putList(content);
    VLR_String drawn;
    const bool isDrawn = succeeds([&] { VLR_RandomWord::RandomWordFromDictionary(drawn, /*shortList=*/false); });
    const std::string word = secondWord(content);
    expect(isDrawn == !word.empty(), "a word is drawn if there is one");
    expect(bytesOf(drawn) == word, "the word is the second one of the stretch");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    FuzzHost::get().drawn = 0;
    const bool isList = input.below(2) == 0;
    FuzzHost::get().draws = input.bytes(input.below(32));
    if (isList)
        readList(input.rest());
    else
        readTable(input.rest());
    return 0;
}
