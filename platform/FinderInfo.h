#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The first fields of a file's Finder information: two codes of four characters each.
struct FileInfo {
    uint32_t type = 0;
    uint32_t creator = 0;
    uint8_t rest[8] = {}; // flags, location and a reserved field, carried as they are

    bool operator==(const FileInfo&) const = default;
};

/// Where a file's Finder information is kept: the first 16 bytes of the 32-byte extended attribute
/// `user.com.apple.FinderInfo`, big-endian. A file without it has all zeros.
namespace FinderInfo {

/// 0, or the system's error number.
int get(const std::string& path, FileInfo& info);
int set(const std::string& path, const FileInfo& info);

/// While in scope, the information of the file at `path` is had from and goes to the one at `newSelf`: to what is going
/// to take its place and hasn't yet. The file at `path` stays as it is. Of several for one path the last one counts.
class StNewSelf {
public:
    StNewSelf(const std::string& path, const std::string& newSelf);
    ~StNewSelf();
    StNewSelf(const StNewSelf&) = delete;
    StNewSelf& operator=(const StNewSelf&) = delete;

private:
    const std::string path;
    const std::string newSelf;
};

} // namespace FinderInfo
