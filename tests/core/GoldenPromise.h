#pragma once

#include "CoreFixture.h"
#include "GoldenVaults.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

/// A JSON text of the kind that the goldens use.
inline std::string unquoted(const std::string& json)
{
    std::string text;
    for (std::size_t i = 1; i + 1 < json.size(); ++i) {
        if (json[i] != '\\')
            text += json[i];
        else
            text += json[++i] == 'n' ? '\n' : json[i] == 'r' ? '\r' : json[i];
    }
    return text;
}

/// What the comments on top of a golden vault promise.
struct Promise {
    explicit Promise(const std::filesystem::path& golden)
    {
        std::ifstream file(golden);
        for (std::string line; std::getline(file, line) && line.rfind('#', 0) == 0;) {
            const std::size_t colon = line.find(": ");
            const std::string key = line.substr(2, colon == std::string::npos ? colon : colon - 2);
            const std::string value = colon == std::string::npos ? "" : line.substr(colon + 2);
            const std::map<std::string, std::string*> texts { { "raises", &raises }, { "write raises", &writeRaises },
                { "preferences", &preferences } };
            const std::map<std::string, unsigned long*> numbers { { "version", &version }, { "errors", &errors },
                { "errors deciphered", &errorsDeciphered }, { "records", &records }, { "deletions", &deletions } };
            if (texts.count(key) > 0)
                *texts.at(key) = value;
            else if (numbers.count(key) > 0)
                *numbers.at(key) = std::stoul(value);
            else if (key == "password")
                password = unquoted(value);
            else if (key == "wrong password")
                wrongPassword = true;
            else if (key.rfind("record ", 0) == 0)
                fields[key] = value.rfind('"', 0) == 0 ? unquoted(value) : value;
        }
    }

    std::string raises, writeRaises, password = "open sesame", preferences;
    bool wrongPassword = false;
    unsigned long version = 4, errors = 0, errorsDeciphered = 0, records = 0, deletions = 0;
    std::map<std::string, std::string> fields; // "record 0 title", "Bank"
};

inline std::string upperHex(const VLR_MemoryBlock& block)
{
    std::string digits = hex(block);
    std::transform(digits.begin(), digits.end(), digits.begin(), ::toupper);
    return digits;
}

inline std::string fieldOf(const VLR_PasswordData& record, const std::string& field)
{
    const std::pair<const char*, const VLR_String& (VLR_PasswordData::*)() const> kTexts[] = {
        { "uuid", &VLR_PasswordData::UUID },
        { "category", &VLR_PasswordData::Category },
        { "title", &VLR_PasswordData::Title },
        { "url", &VLR_PasswordData::URL },
        { "username", &VLR_PasswordData::Username },
        { "password", &VLR_PasswordData::Password },
        { "username_label", &VLR_PasswordData::UsernameLabel },
        { "password_label", &VLR_PasswordData::PasswordLabel },
        { "notes", &VLR_PasswordData::Notes },
        { "browser", &VLR_PasswordData::Browser },
    };
    for (const auto& [name, text] : kTexts) {
        if (field == name)
            return str((record.*text)());
    }
    const std::pair<const char*, int64_t> kNumbers[] = {
        { "modified", record.ModifiedDate() },
        { "last_used", record.LastUsedDate() },
        { "collapsed", record.Collapsed() },
        { "changed", record.ChangedSinceSync() },
        { "clear_value", record.ClearValue() },
        { "hidden", record.HiddenValue() },
    };
    for (const auto& [name, number] : kNumbers) {
        if (field == name)
            return std::to_string(number);
    }
    if (field == "clear_block")
        return upperHex(record.ClearBlock());
    if (field == "color")
        return std::to_string(record.Color().red) + " " + std::to_string(record.Color().green) + " "
            + std::to_string(record.Color().blue);
    if (field == "growth") {
        std::string items;
        for (uint32_t i = 0; i < record.FutureGrowth().Count(); ++i) {
            const std::string item = upperHex(*record.FutureGrowth().ObjectAtIndex(i));
            items += (i > 0 ? " " : "") + (item.empty() ? "-" : item);
        }
        return items;
    }
    return "(no such field: " + field + ")";
}
