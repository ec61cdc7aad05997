#pragma once

#include <string>

/// A folder that goes with its scope, and the files in it.
class ScratchFolder {
public:
    ScratchFolder();
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
