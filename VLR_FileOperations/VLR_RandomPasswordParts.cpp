#include "VLR_RandomPasswordParts.h"

#include "VLR_Exception.h"
#include "VLR_OSFile.h"
#include "VLR_RandomSource.h"
#include "VLR_System.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace {

constexpr char kSourceName[] = "VLR_RandomPasswordParts"; // in reports, whatever the file is called

struct FailureSite {
    const char* function;
    int line;
};

constexpr FailureSite kListNotOpened { "RandomWordFromDictionary", 47 }; // hosts match on it: don't follow the source
constexpr FailureSite kListNotRead { "RandomWordFromDictionary", 61 };
constexpr FailureSite kTableNotRead { "VLR_PhoneticPassword", 117 };

[[noreturn]] void Raise(int32_t code, const FailureSite& site)
{
    throw VLR_Exception(static_cast<VLR_ExceptionCodeType>(code), kSourceName, site.function, site.line);
}

constexpr uint32_t kBufferLength = 256;
constexpr uint32_t kReadLength = 255; // with the zero that the reading function puts behind what it read
constexpr uint32_t kReadAhead = 4096;

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

std::string ResourcePath(VLR_FilePathType type)
{
    const VLR_String path = VLR_System::StdioPathToFile(type);
    return std::string(reinterpret_cast<const char*>(path.Bytes()), path.Length());
}

/// Bytes in the file, modulo 2^32; 0 for what is no file.
uint32_t SizeOfFile(const std::string& path)
{
    static std::map<std::string, uint32_t> mapOfFileSizes;
    const auto known = mapOfFileSizes.find(path);
    if (known != mapOfFileSizes.end())
        return known->second;
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return mapOfFileSizes[path] = error ? 0 : static_cast<uint32_t>(size);
}

File OpenList(const std::string& path)
{
    std::error_code error;
    const bool mayBlock = std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error);
    File file(mayBlock ? nullptr : std::fopen(path.c_str(), "r"));
    if (!file)
        Raise(VLR_ExceptionDictionaryOpen, kListNotOpened);
    return file;
}

uint32_t DrawBelow(uint32_t bound)
{
    return static_cast<uint32_t>(static_cast<unsigned long>(std::labs(VLR_RandomDraw())) % bound);
}

bool IsSpace(unsigned char byte)
{
    return std::isspace(byte) != 0;
}

/// The second word of the buffer; the first is the one that the read began in.
VLR_String SecondWord(const VLR_MemoryBlock& buffer)
{
    const unsigned char* const end = buffer.Bytes() + buffer.Length();
    const unsigned char* const gap = std::find_if(buffer.Bytes(), end, IsSpace);
    const unsigned char* const first = std::find_if_not(gap, end, IsSpace);
    const unsigned char* const last = std::find_if(first, end, IsSpace);
    return VLR_String(VLR_MemoryBlock(first, static_cast<uint32_t>(last - first)), VLR_CharacterSetUTF8);
}

/// Wipes a plain byte string that held a piece of a password.
class StVLR_WipedText {
public:
    explicit StVLR_WipedText(std::string& text)
        : text(text)
    {
    }
    ~StVLR_WipedText() { VLR_System::MemWipe(text.data(), static_cast<uint32_t>(text.size())); }
    StVLR_WipedText(const StVLR_WipedText&) = delete;
    StVLR_WipedText& operator=(const StVLR_WipedText&) = delete;

private:
    std::string& text;
};

constexpr uint32_t kPairLength = 2;
constexpr std::size_t kFollowersStart = 3; // behind the key and a separator, which is any byte
constexpr int kPairsInPassword = 5;

} // namespace

/// One list, open.
class VLR_WordLists::List {
public:
    explicit List(const std::string& path)
        : size(SizeOfFile(path))
        , file(OpenList(path))
    {
        std::setvbuf(file.get(), reinterpret_cast<char*>(readAhead.Bytes()), _IOFBF, readAhead.Length());
    }

    /// Fills the buffer from a random place that has a full read behind it; all places further on count as the last of
    /// them.
    void ReadRandomStretch(VLR_MemoryBlock& buffer)
    {
        if (size < kReadLength)
            Raise(VLR_ExceptionFile, kListNotRead);
        const uint32_t offset = std::min(DrawBelow(size), size - kReadLength);
        std::fseek(file.get(), static_cast<long>(offset), SEEK_SET); // one that fails leaves the present place
        if (std::fgets(reinterpret_cast<char*>(buffer.Bytes()), kReadLength, file.get()) == nullptr)
            Raise(VLR_ExceptionFile, kListNotRead);
    }

private:
    const uint32_t size;
    VLR_MemoryBlock readAhead { kReadAhead }; // the file's, so that the words in it are wiped
    const File file;
};

VLR_WordLists::VLR_WordLists() = default;
VLR_WordLists::~VLR_WordLists() = default;

bool VLR_WordLists::RandomWord(VLR_String& word, bool shortList)
{
    std::unique_ptr<List>& list = shortList ? shortOne : fullOne;
    if (!list)
        list = std::make_unique<List>(ResourcePath(shortList ? VLR_FilePathDictionaryShort : VLR_FilePathDictionary));
    VLR_MemoryBlock buffer(kBufferLength);
    list->ReadRandomStretch(buffer);
    const VLR_String picked = SecondWord(buffer);
    if (picked.IsEmpty()) // better no password than one without its word
        Raise(VLR_ExceptionFile, kListNotRead);
    word = picked;
    return true;
}

bool VLR_RandomWord::RandomWordFromDictionary(VLR_String& word, bool shortList)
{
    return VLR_WordLists().RandomWord(word, shortList);
}

VLR_PhoneticPassword::VLR_PhoneticPassword()
{
    VLR_OSFile file;
    file.path = VLR_System::StdioPathToFile(VLR_FilePathPhonemes);
    const int32_t result = VLR_System::ReadFromOSFile(file);
    if (result != 0)
        Raise(result, kTableNotRead);
    std::string text(reinterpret_cast<const char*>(file.data.Bytes()), file.data.Length());
    std::replace(text.begin(), text.end(), '\r', '\n');
    for (std::size_t first = 0; first < text.size();) {
        const std::size_t last = std::min(text.find('\n', first), text.size());
        AddLine(text.substr(first, last - first));
        first = last + 1;
    }
}

void VLR_PhoneticPassword::AddLine(const std::string& line)
{
    if (line.size() > kFollowersStart)
        phonemes[line.substr(0, kPairLength)] = line.substr(kFollowersStart);
}

const VLR_PhoneticPassword& VLR_PhoneticPassword::Object()
{
    static const VLR_PhoneticPassword pp;
    return pp;
}

void VLR_PhoneticPassword::GenPassword(std::string& password)
{
    Object().GenPassword_(password);
}

bool VLR_PhoneticPassword::RandomPhonemeExtension(VLR_String& soFar, VLR_String& extension)
{
    std::string text;
    const StVLR_WipedText afterwards(text);
    if (soFar.Length() >= kPairLength) {
        for (uint32_t i = soFar.Length() - kPairLength; i < soFar.Length(); ++i)
            text += static_cast<char>(std::tolower(soFar.ByteAtIndex(i)));
    }
    Object().ExtendPassword(text);
    if (text.size() > kPairLength)
        text.erase(0, kPairLength);
    extension = VLR_String(
        VLR_MemoryBlock(reinterpret_cast<const unsigned char*>(text.data()), static_cast<uint32_t>(text.size())),
        VLR_CharacterSetASCII);
    return true;
}

unsigned long VLR_PhoneticPassword::GenRandom(unsigned long range)
{
    if (range == 0)
        VLR_RAISE_CODE(VLR_ExceptionFile);
    return static_cast<unsigned long>(std::labs(VLR_RandomDraw())) % range;
}

void VLR_PhoneticPassword::GenPassword_(std::string& password) const
{
    std::string text;
    const StVLR_WipedText afterwards(text);
    for (int i = 0; i < kPairsInPassword; ++i)
        ExtendPassword(text);
    if (IsConsonant(text.at(0)) && IsConsonant(text.at(1)))
        text.erase(0, 1);
    password = text;
}

void VLR_PhoneticPassword::ExtendPassword(std::string& password) const
{
    if (password.size() >= kPairLength)
        password += RandomSecond(password.substr(password.size() - kPairLength));
    else
        password = RandomFirst();
}

std::string VLR_PhoneticPassword::RandomFirst() const
{
    if (phonemes.empty())
        VLR_RAISE_CODE(VLR_ExceptionFile);
    return std::next(phonemes.begin(), DrawBelow(static_cast<uint32_t>(phonemes.size())))->first;
}

std::string VLR_PhoneticPassword::RandomSecond(const std::string& pair) const
{
    const auto found = phonemes.find(pair);
    if (found == phonemes.end())
        return RandomFirst();
    const std::string& followers = found->second;
    const uint32_t index = DrawBelow(static_cast<uint32_t>(followers.size())) & ~1u;
    return followers.substr(index, kPairLength);
}

bool VLR_PhoneticPassword::IsConsonant(char c) const
{
    constexpr uint32_t kConsonants = 0xFBEEE; // bit n for the n-th letter behind "a", up to "u"
    constexpr uint32_t kLastVowel = 'u' - 'a';
    const auto distance = static_cast<uint32_t>(std::tolower(static_cast<unsigned char>(c)) - 'a');
    return distance > kLastVowel || ((kConsonants >> distance) & 1) != 0;
}
