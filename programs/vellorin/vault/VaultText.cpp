#include "VaultText.h"

#include "Console.h"
#include "Json.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace {

constexpr std::time_t k1970To2001 = 978307200;
constexpr char kNoCategory[] = "(no category)";
constexpr std::size_t kMostColumns = 30; // a hostile file may have categories of any length

/// By the number in the file.
constexpr std::array kSortFields { "", "title", "URL", "user name", "category", "password", "date of change",
    "date of last use" };

std::string inBytes(uint64_t count)
{
    return counted(count, "byte", "bytes");
}

/// A text of a file, or a word for none.
std::string orWord(std::string_view text, const char* word)
{
    return text.empty() ? word : printable(text);
}

} // namespace

std::string nameOf(VaultDamage::Kind kind)
{
    switch (kind) {
    case VaultDamage::Kind::StrayBytes: return "stray-bytes";
    case VaultDamage::Kind::RecordCut: return "record-cut";
    case VaultDamage::Kind::BodyMissing: return "body-missing";
    case VaultDamage::Kind::BytesBehindBody: return "bytes-behind-body";
    case VaultDamage::Kind::OlderFormat: return "older-format";
    case VaultDamage::Kind::NewerFormat: return "newer-format";
    case VaultDamage::Kind::CountOfAllOnes: return "count-of-all-ones";
    }
    return "damage";
}

std::string sortOrderOf(const VaultContents& vault)
{
    const bool isKnown = vault.sortField > 0 && vault.sortField < kSortFields.size();
    const std::string field
        = isKnown ? kSortFields[vault.sortField] : "unknown (" + std::to_string(vault.sortField) + ")";
    return field + (vault.sortDescending ? ", descending" : "");
}

std::time_t timeOf(uint32_t secondsSince2001)
{
    return secondsSince2001 == 0 ? 0 : secondsSince2001 + k1970To2001;
}

std::map<std::string_view, std::size_t> categoriesOf(const VaultContents& vault)
{
    std::map<std::string_view, std::size_t> categories;
    for (const VaultRecord& record : vault.records)
        ++categories[record.category];
    return categories;
}

std::size_t widened(std::size_t columns, const VaultRecord& record)
{
    const std::size_t own = columnsOf(orWord(record.category, kNoCategory));
    return std::max(columns, std::min(own, kMostColumns));
}

std::string lineOf(const VaultRecord& record, std::size_t columnsOfCategory)
{
    return orWord(record.uuid, "(no UUID)") + "  " + padded(orWord(record.category, kNoCategory), columnsOfCategory)
        + "  " + inBytes(record.body.size()) + (record.changedSinceSync ? "  changed" : "")
        + (record.isWhole ? "" : "  cut");
}

std::string lineOf(const VaultDamage& damage, const VaultContents& vault)
{
    const std::string record
        = damage.record ? " (record " + orWord(vault.records[*damage.record].uuid, "without UUID") + ")" : "";
    return "at byte " + std::to_string(damage.offset) + ": " + describe(damage.kind) + ", " + inBytes(damage.length)
        + record;
}

nlohmann::ordered_json jsonOf(const VaultRecord& record)
{
    nlohmann::ordered_json json;
    json["uuid"] = jsonText(record.uuid);
    json["category"] = jsonText(record.category);
    json["size"] = record.body.size();
    json["changed"] = record.changedSinceSync;
    json["format"] = record.format;
    json["offset"] = record.offset;
    json["whole"] = record.isWhole;
    return json;
}

nlohmann::ordered_json jsonOf(const VaultDamage& damage, const VaultContents& vault)
{
    nlohmann::ordered_json json;
    json["kind"] = nameOf(damage.kind);
    json["offset"] = damage.offset;
    json["length"] = damage.length;
    if (damage.record)
        json["uuid"] = jsonText(vault.records[*damage.record].uuid);
    return json;
}

void putDamage(
    JsonOutput& json, const std::string& name, const std::vector<VaultDamage>& damage, const VaultContents& vault)
{
    json.beginList(name);
    for (const VaultDamage& entry : damage)
        json.element(jsonOf(entry, vault));
    json.end();
}

void putRecords(JsonOutput& json, const std::string& name, const std::vector<VaultRecord>& records)
{
    json.beginList(name);
    for (const VaultRecord& record : records)
        json.element(jsonOf(record));
    json.end();
}
