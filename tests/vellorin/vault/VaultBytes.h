#pragma once

#include "GoldenVaults.h"
#include "VaultContents.h"

#include <cstdint>
#include <string>
#include <vector>

// Vaults as bytes, put together by hand.

inline std::string number(std::size_t value)
{
    return { static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
        static_cast<char>(value) };
}

inline std::string chunk(const std::string& content)
{
    return number(content.size()) + content;
}

struct SketchedRecord {
    std::string uuid;
    std::string category = "";
    std::string body = "12345678";
};

inline std::string blockOf(const SketchedRecord& record, const std::string& flags = std::string(2, '\0'))
{
    return number(4) + chunk(record.uuid) + flags + chunk(record.category) + chunk("") + number(0) + chunk(record.body);
}

struct SketchedVault {
    std::vector<SketchedRecord> records;
    std::vector<std::string> deletions = {};
    std::string identity = "I";
    std::string partner = "";
    std::string master = "m"; // fills the reference buffer
    std::string preferences = "";

    std::string bytes() const
    {
        static const std::string kGolden = goldenVaults().at("empty");
        std::string entries;
        for (const std::string& uuid : deletions)
            entries += chunk(uuid) + std::string(2, '\0');
        std::string file = "VL_4Fish" + chunk(std::string(256, master[0])) + "Pref"
            + (preferences.empty() ? kGolden.substr(272, 38) : chunk(preferences)) + "Dele" + chunk(entries) + "SyIn"
            + chunk(identity) + chunk(partner);
        for (const SketchedRecord& record : records)
            file += "Pdat" + chunk(blockOf(record));
        return file;
    }
};

inline NSData dataOf(const std::string& bytes)
{
    return NSData::dataWithBytes(bytes.data(), bytes.size());
}

inline std::string bytesOf(const NSData& data)
{
    return { reinterpret_cast<const char*>(data.bytes()), data.length() };
}

inline VaultContents contentsOf(const std::string& bytes)
{
    return VaultContents(dataOf(bytes));
}

inline VaultContents contentsOf(const SketchedVault& vault)
{
    return contentsOf(vault.bytes());
}
