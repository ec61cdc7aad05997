#pragma once

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/// Ends the work with the failed step and errno's reason.
[[noreturn]] inline void failStep(const std::string& step)
{
    throw std::system_error(errno, std::generic_category(), step);
}

class StDescriptor {
public:
    StDescriptor(const std::string& path, int flags, mode_t mode = 0)
        : descriptor(::open(path.c_str(), flags | O_CLOEXEC, mode))
    {
        if (descriptor < 0)
            failStep(path);
    }
    ~StDescriptor() { ::close(descriptor); }
    StDescriptor(const StDescriptor&) = delete;
    StDescriptor& operator=(const StDescriptor&) = delete;

    const int descriptor;
};

/// Reads up to `length` bytes; less only at the end of the file.
inline std::size_t readUpTo(int descriptor, char* to, std::size_t length)
{
    std::size_t done = 0;
    while (done < length) {
        const ssize_t came = ::read(descriptor, to + done, length - done);
        if (came < 0)
            failStep("read");
        if (came == 0)
            break;
        done += static_cast<std::size_t>(came);
    }
    return done;
}

inline void writeAll(int descriptor, const char* from, std::size_t length)
{
    while (length > 0) {
        const ssize_t went = ::write(descriptor, from, length);
        if (went < 0)
            failStep("write");
        from += went;
        length -= static_cast<std::size_t>(went);
    }
}

/// A file in memory, read with one call where the system grants it.
class WholeFile {
public:
    explicit WholeFile(const std::string& path)
    {
        const StDescriptor file(path, O_RDONLY);
        struct stat status { };
        if (::fstat(file.descriptor, &status) != 0)
            failStep(path);
        length = static_cast<std::size_t>(status.st_size);
        bytes = std::make_unique_for_overwrite<char[]>(length);
        if (readUpTo(file.descriptor, bytes.get(), length) != length)
            throw std::runtime_error(path + " is shorter than it was");
    }

    std::string_view view() const { return { bytes.get(), length }; }

private:
    std::size_t length = 0;
    std::unique_ptr<char[]> bytes;
};
