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
            if (key == "raises")
                raises = value;
            else if (key == "write raises")
                writeRaises = value;
            else if (key == "wrong password")
                wrongPassword = true;
            else if (key == "version")
                version = std::stoul(value);
            else if (key == "password")
                password = unquoted(value);
            else if (key == "preferences")
                preferences = value;
            else if (key == "errors")
                errors = std::stoul(value);
            else if (key == "errors deciphered")
                errorsDeciphered = std::stoul(value);
            else if (key == "records")
                records = std::stoul(value);
            else if (key == "deletions")
                deletions = std::stoul(value);
            else if (key.rfind("record ", 0) == 0)
                fields[key] = value.rfind('"', 0) == 0 ? unquoted(value) : value;
        }
    }

    std::string raises, writeRaises, password = "open sesame", preferences;
    bool wrongPassword = false;
    unsigned long version = 4, errors = 0, errorsDeciphered = 0, records = 0, deletions = 0;
    std::map<std::string, std::string> fields; // "record 0 title", "Bank"
};

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
    if (field == "modified")
        return std::to_string(record.ModifiedDate());
    if (field == "last_used")
        return std::to_string(record.LastUsedDate());
    if (field == "collapsed")
        return std::to_string(record.Collapsed());
    if (field == "changed")
        return std::to_string(record.ChangedSinceSync());
    if (field == "clear_value")
        return std::to_string(record.ClearValue());
    if (field == "hidden")
        return std::to_string(record.HiddenValue());
    if (field == "clear_block") {
        std::string digits = hex(record.ClearBlock());
        std::transform(digits.begin(), digits.end(), digits.begin(), ::toupper);
        return digits;
    }
    if (field == "color")
        return std::to_string(record.Color().red) + " " + std::to_string(record.Color().green) + " "
            + std::to_string(record.Color().blue);
    if (field == "growth") {
        std::string items;
        for (uint32_t i = 0; i < record.FutureGrowth().Count(); ++i) {
            std::string item = hex(*record.FutureGrowth().ObjectAtIndex(i));
            std::transform(item.begin(), item.end(), item.begin(), ::toupper);
            items += (i > 0 ? " " : "") + (item.empty() ? "-" : item);
        }
        return items;
    }
    return "(no such field: " + field + ")";
}
