#pragma once

#include <optional>
#include <string>

/// A file URL: percent-escaped UTF-8, in which every byte that a path can hold survives.
class NSURL {
public:
    /// A relative path is taken from the current folder; it is not cleaned up, since `..` behind a link means another
    /// folder. Slashes at the end go. The empty path stays empty.
    static NSURL fileURLWithPath(const std::string& path);

    /// Absent unless `text` is a file URL of this machine, with an absolute path and sound escapes.
    static std::optional<NSURL> urlWithURLString(const std::string& text);
    static std::optional<NSURL> urlWithURLData(const std::string& bytes) { return urlWithURLString(bytes); }

    const std::string& path() const { return path_; }

    /// "file://" and the path, escaped.
    std::string urlString() const;

    /// The same as bytes for the wire; whitespace is escaped, as everything is that is no plain character of a path.
    std::string urlData() const { return urlString(); }

private:
    explicit NSURL(std::string path);

    std::string path_;
};
