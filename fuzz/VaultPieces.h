#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A version 4 file taken apart, with a reading of its own: what the mutator turns round in its hands.
struct VaultPieces {
    std::string magic;
    std::string referenceBuffer;
    std::string preferences;
    std::string deletionList;
    std::string identity;
    std::string partner;
    std::vector<std::string> records; // blocks
    std::string rest; // what is no whole record any more

    /// Absent if the head is damaged.
    static std::optional<VaultPieces> of(std::string_view file);
    std::string file() const;
};

/// A record block of format 4 taken apart.
struct RecordPieces {
    std::string version; // 4 bytes, as the clear value
    std::string uuid;
    std::string flags; // 2 bytes
    std::string category;
    std::string clearBlock;
    std::string clearValue;
    std::string encryptedPart;
    std::string rest;

    static std::optional<RecordPieces> of(std::string_view block);
    std::string block() const;
};

std::string bigEndian(std::size_t number);

/// A count, and what it counts.
std::string chunkOf(std::string_view content);

/// Takes bytes, or a chunk, from the front; false if they aren't whole.
bool takeBytes(std::string_view& from, std::size_t n, std::string& to);
bool takeChunk(std::string_view& from, std::string& to);
