#pragma once

#include "NSData.h"

#include <cstdint>
#include <deque>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A record as it stands in a file, without its password. Views lie in the vault's bytes. Fields that a cut record has
/// lost are empty.
struct VaultRecord {
    std::string_view uuid; // as stored, or for formats 0 to 3 as readers make it
    std::string_view category; // in UTF-8; empty in formats 0 to 2
    std::string_view body; // cipher text; empty if it isn't there
    uint64_t offset = 0; // of the tag in front of the record
    uint64_t length = 0; // from there to where a reader goes on
    uint32_t format = 0;
    bool changedSinceSync = false;
    bool isWhole = false; // all fields were there
};

struct VaultDeletion {
    std::string_view uuid;
    uint16_t checksum = 0;
};

/// Bytes that a reader can't take over as they are.
struct VaultDamage {
    enum class Kind {
        StrayBytes, // between records or behind the last one; no section accounts for them
        RecordCut, // a record's chunk or fields pass their end; no body
        BodyMissing, // the fields are whole, and the body is empty: nobody can write such a record
        BytesBehindBody, // within a record's chunk
        OlderFormat, // can be read with the password, but not carried without
        NewerFormat, // read like the present one, and goes out under the present one's number
        CountOfAllOnes // stands for an empty field, which goes out in another form
    };

    Kind kind {};
    uint64_t offset = 0;
    uint64_t length = 0;
    std::optional<std::size_t> record; // its index in `records`, if one is concerned; a cut record has no other damage

    /// Such a record is lost, or written so that nobody can read it, when the vault is written without its password.
    bool losesRecord() const { return kind != Kind::CountOfAllOnes && kind != Kind::BytesBehindBody; }
};

/// In words: "the record is cut".
std::string describe(VaultDamage::Kind kind);

/// The file is no vault, or its head is lost.
class NoVault : public std::exception {
public:
    NoVault(const std::string& reason, uint64_t offset)
        : words_("is no vault: " + reason + " (at byte " + std::to_string(offset) + ")")
        , offset_(offset)
    {
    }
    const char* what() const noexcept override { return words_.c_str(); }
    uint64_t offset() const { return offset_; }

private:
    std::string words_;
    uint64_t offset_;
};

/// What can be read of a vault file without its password, as views into its bytes: a walk over the frames of its
/// sections, apart from the document core, so that each can be held against the other.
///
/// It finds the same records as a document that keeps its records encrypted, damaged ones included, in the same order.
/// Cost: linear in the bytes; a copy of none but the made texts of older formats.
class VaultContents {
public:
    /// Keeps the bytes as long as it lives. Raises: NoVault.
    explicit VaultContents(NSData bytes);
    VaultContents(const VaultContents&) = delete; // the views of a record of an older format lie in `madeTexts_`
    VaultContents& operator=(const VaultContents&) = delete;
    VaultContents(VaultContents&&) = default;
    VaultContents& operator=(VaultContents&&) = default;

    const NSData& bytes() const { return bytes_; }

    std::string_view identity; // empty in a file that was never read and written
    std::string_view partner;
    std::string_view referenceBuffer; // enciphered; equal in vaults with the same master password
    std::string_view preferences; // 34 bytes
    uint32_t openDate = 0; // seconds since 2001: when the program that wrote the file had opened it
    uint32_t sortField = 0;
    bool sortDescending = false;
    std::vector<VaultDeletion> deletions;
    std::vector<VaultRecord> records;
    std::vector<VaultDamage> damage; // in the order of their offsets

    /// All of it goes out again when the vault is written without its password.
    bool isCarriedWhole() const { return damage.empty(); }

private:
    class Walk;

    NSData bytes_;
    std::deque<std::string> madeTexts_; // stay where they are while others are added
};

/// Reads a file that is looked at and not replaced. Raises: CommandFailure (kFailed), with the path, if it can't be
/// read or is no vault.
VaultContents readVault(const std::string& path);
