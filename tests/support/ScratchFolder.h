#pragma once

#include <filesystem>
#include <string>

#include <sys/types.h>

/// The permission bits of a file.
mode_t modeOf(const std::string& path);

/// A folder that goes with its scope, and the files in it.
class ScratchFolder {
public:
    explicit ScratchFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path());
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    std::string write(const std::string& name, const std::string& content) const;
    std::string read(const std::string& name) const;

    /// The names of everything in it, sorted, joined by blanks.
    std::string listing() const;

private:
    std::string folder_;
};

/// A parent for folders in which much is written and nothing needs a disk.
std::filesystem::path folderInMemory();
