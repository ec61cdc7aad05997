#include "FinderInfo.h"

#include "FileSystemCalls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr char kAttribute[] = "user.com.apple.FinderInfo";

using AttributeBytes = std::array<uint8_t, 32>;
using NewSelf = std::pair<std::string, std::string>;

std::vector<NewSelf>& newSelves()
{
    static std::vector<NewSelf> selves;
    return selves;
}

const std::string& pathOfSelf(const std::string& path)
{
    const std::vector<NewSelf>& selves = newSelves();
    const auto found
        = std::find_if(selves.rbegin(), selves.rend(), [&](const NewSelf& self) { return self.first == path; });
    return found != selves.rend() ? found->second : path;
}

int readAttribute(const std::string& path, AttributeBytes& bytes)
{
    bytes.fill(0);
    const ssize_t length = fileSystemCalls().getPathAttribute(pathOfSelf(path), kAttribute, bytes.data(), bytes.size());
    return length >= 0 || errno == ENODATA ? 0 : errno;
}

uint32_t codeAt(const uint8_t* bytes)
{
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16
        | static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

void putCode(uint8_t* bytes, uint32_t code)
{
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<uint8_t>(code >> (24 - 8 * i));
}

} // namespace

int FinderInfo::get(const std::string& path, FileInfo& info)
{
    AttributeBytes bytes;
    const int error = readAttribute(path, bytes);
    if (error != 0)
        return error;
    info.type = codeAt(bytes.data());
    info.creator = codeAt(bytes.data() + 4);
    std::copy_n(bytes.data() + 8, std::size(info.rest), info.rest);
    return 0;
}

int FinderInfo::set(const std::string& path, const FileInfo& info)
{
    AttributeBytes bytes;
    const int error = readAttribute(path, bytes); // the last 16 bytes stay
    if (error != 0)
        return error;
    const AttributeBytes before = bytes;
    putCode(bytes.data(), info.type);
    putCode(bytes.data() + 4, info.creator);
    std::copy_n(info.rest, std::size(info.rest), bytes.data() + 8);
    if (bytes == before) // so that a copy isn't touched once it is complete
        return 0;
    return fileSystemCalls().setPathAttribute(pathOfSelf(path), kAttribute, bytes.data(), bytes.size()) == 0 ? 0
                                                                                                             : errno;
}

FinderInfo::StNewSelf::StNewSelf(const std::string& path, const std::string& newSelf)
    : path(path)
    , newSelf(newSelf)
{
    newSelves().emplace_back(path, newSelf);
}

FinderInfo::StNewSelf::~StNewSelf()
{
    std::erase_if(newSelves(), [this](const NewSelf& self) { return self.first == path && self.second == newSelf; });
}
