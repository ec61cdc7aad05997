#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

/// The layout of a version 4 vault as the comparison programs walk it, without the core: what a plain program would do
/// to tell the records of a sound file apart (docs/file-format.md).
class VaultBytes {
public:
    explicit VaultBytes(std::string_view file)
        : file(file)
    {
    }

    /// Calls `deletion(uuid)` for each deletion and `record(uuid, block)` for each record, in file order.
    template <class OnDeletion, class OnRecord>
    void walk(OnDeletion deletion, OnRecord record) const
    {
        std::size_t at = kMagicLength;
        chunk(at, kTagLength); // Fish
        chunk(at, kTagLength); // Pref
        const std::string_view deletions = chunk(at, kTagLength);
        for (std::size_t inside = 0; inside < deletions.size(); inside += kChecksumLength)
            deletion(VaultBytes(deletions).chunk(inside, 0));
        chunk(at, kTagLength); // SyIn
        chunk(at, 0); // partner
        while (at < file.size()) {
            const std::string_view block = chunk(at, kTagLength);
            std::size_t inside = kVersionLength;
            record(VaultBytes(block).chunk(inside, 0), block);
        }
    }

private:
    static constexpr std::size_t kMagicLength = 4;
    static constexpr std::size_t kTagLength = 4;
    static constexpr std::size_t kCountLength = 4;
    static constexpr std::size_t kVersionLength = 4;
    static constexpr std::size_t kChecksumLength = 2;

    /// The content of the chunk behind `skipped` bytes; moves `at` behind it.
    std::string_view chunk(std::size_t& at, std::size_t skipped) const
    {
        const std::size_t count = uint32(at + skipped);
        const std::size_t begin = at + skipped + kCountLength;
        if (count > file.size() - begin)
            throw std::runtime_error("not a sound vault");
        at = begin + count;
        return file.substr(begin, count);
    }

    uint32_t uint32(std::size_t at) const
    {
        if (at > file.size() || file.size() - at < kCountLength)
            throw std::runtime_error("not a sound vault");
        const auto byte = [&](std::size_t i) { return uint32_t { static_cast<unsigned char>(file[at + i]) }; };
        return byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3);
    }

    std::string_view file;
};
