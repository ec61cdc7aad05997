#pragma once

#include "VaultContents.h"

#include <nlohmann/json_fwd.hpp>

#include <ctime>
#include <map>
#include <string>
#include <string_view>
#include <vector>

class JsonOutput;

// What vaults hold, in words for people and in JSON for programs. Texts for people are printable.

/// For programs: "record-cut".
std::string nameOf(VaultDamage::Kind kind);

/// "title, descending".
std::string sortOrderOf(const VaultContents& vault);

/// A moment as vaults keep it, in the system's seconds; 0 stays 0.
std::time_t timeOf(uint32_t secondsSince2001);

/// How many records are in each category.
std::map<std::string_view, std::size_t> categoriesOf(const VaultContents& vault);

/// The columns for the categories of a list: `columns` or as many as this record's takes, if a list can be so wide.
std::size_t widened(std::size_t columns, const VaultRecord& record);

/// "UUID  Money   112 bytes  changed", with the category padded to these columns.
std::string lineOf(const VaultRecord& record, std::size_t columnsOfCategory = 0);

/// "at byte 553: the record is cut, 68 bytes (record UUID)"
std::string lineOf(const VaultDamage& damage, const VaultContents& vault);

nlohmann::ordered_json jsonOf(const VaultRecord& record);
nlohmann::ordered_json jsonOf(const VaultDamage& damage, const VaultContents& vault);

/// Lists of this name, entry by entry.
void putDamage(
    JsonOutput& json, const std::string& name, const std::vector<VaultDamage>& damage, const VaultContents& vault);
void putRecords(JsonOutput& json, const std::string& name, const std::vector<VaultRecord>& records);
