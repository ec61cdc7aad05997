#pragma once

#include "VLR_PasswordData.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A record as a plain reading of the tables in docs/file-format.md ("Record block", "Older records", "Versions 1 and
/// 2") finds it in its bytes, in fields of the standard library. What is cut, and all behind it, stays empty.
struct RecordModel {
    /// A record block of any format, deciphered with the password of all seeds.
    static RecordModel ofBlock(const std::string& block);

    /// The block of a version 1 file.
    static RecordModel ofVersion1(const std::string& block);

    bool isCarried = false; // clear part and encrypted part are there
    bool isWhole = false; // and the encrypted part is readable to its end
    uint16_t checksum = 0; // of the block; none in version 1
    bool hasUUIDByChance = false; // version 1: another one for each read
    std::string uuid;
    int8_t collapsed = 0;
    uint8_t changedSinceSync = 0;
    std::string category;
    std::string clearBlock;
    int32_t clearValue = 0;
    std::string body; // as it stands in the file

    std::string title, URL, username, password, usernameLabel, passwordLabel, notes; // UTF-8
    std::optional<uint32_t> modifiedDate; // since 2001; absent if the file doesn't say
    std::optional<uint32_t> lastUsedDate;
    uint32_t hiddenValue = 0;
    VLR_Color color;
    std::vector<std::string> growth;
    std::string browser;
};

/// What a record that keeps its encrypted part must have, and one that was deciphered, after a read that may have ended
/// before the record did. A date that the file doesn't say is that of the read.
void expectCarriedAs(const RecordModel& model, const VLR_PasswordData& record);
void expectOpenedAs(const RecordModel& model, const VLR_PasswordData& record);
