// The floors under a synchronisation. Usage: plain-copy [--join | --pieces] FIRST SECOND
//
// Replaces each of two files by a copy of itself, with the steps that no safe replacement can leave out: read, write,
// sync, rename, sync of the folder. With --join it also puts each record's identity into one hash table between reading
// and writing, which is the least that a merge has to do. With --pieces it copies through a small buffer.

#include "VaultBytes.h"
#include "WholeFile.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

constexpr std::size_t kPiece = std::size_t { 1 } << 20;

std::string folderOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

/// Replaces the file by what `fill` writes into the given descriptor.
template <class Fill>
void replace(const std::string& path, Fill fill)
{
    const std::string newPath = path + ".new";
    {
        const StDescriptor file(newPath, O_WRONLY | O_CREAT | O_EXCL, 0600);
        fill(file.descriptor);
        if (::fsync(file.descriptor) != 0)
            failStep("sync");
    }
    if (::rename(newPath.c_str(), path.c_str()) != 0)
        failStep("rename");
    const StDescriptor folder(folderOf(path), O_RDONLY | O_DIRECTORY);
    if (::fsync(folder.descriptor) != 0)
        failStep("sync of the folder");
}

void copyInPieces(const std::string& path)
{
    const StDescriptor old(path, O_RDONLY);
    const auto buffer = std::make_unique_for_overwrite<char[]>(kPiece);
    replace(path, [&](int descriptor) {
        while (const std::size_t length = readUpTo(old.descriptor, buffer.get(), kPiece))
            writeAll(descriptor, buffer.get(), length);
    });
}

/// The number of identities in both vaults.
std::size_t join(const WholeFile& first, const WholeFile& second)
{
    std::unordered_map<std::string_view, std::string_view> records;
    for (const WholeFile* const file : { &first, &second }) {
        VaultBytes(file->view())
            .walk([](std::string_view) {},
                [&](std::string_view uuid, std::string_view block) { records.try_emplace(uuid, block); });
    }
    return records.size();
}

void copyWhole(const std::string& firstPath, const std::string& secondPath, bool joining)
{
    const WholeFile first(firstPath);
    const WholeFile second(secondPath);
    if (joining)
        std::printf("%zu identities\n", join(first, second));
    replace(firstPath, [&](int descriptor) { writeAll(descriptor, first.view().data(), first.view().size()); });
    replace(secondPath, [&](int descriptor) { writeAll(descriptor, second.view().data(), second.view().size()); });
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const bool joining = arguments.size() == 3 && arguments[0] == "--join";
    const bool inPieces = arguments.size() == 3 && arguments[0] == "--pieces";
    if (arguments.size() != 2 && !joining && !inPieces) {
        std::fputs("usage: plain-copy [--join | --pieces] FIRST SECOND\n", stderr);
        return 2;
    }
    const std::string& first = arguments[arguments.size() - 2];
    const std::string& second = arguments.back();
    try {
        if (inPieces) {
            copyInPieces(first);
            copyInPieces(second);
        } else
            copyWhole(first, second, joining);
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "plain-copy: %s\n", failure.what());
        return 1;
    }
}
