#pragma once

#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

/// The bytes of a file of commented hex: pairs of digits, `#` to the end of a line is a comment.
inline std::string bytesOfHexFile(const std::filesystem::path& path)
{
    std::ifstream file(path);
    std::string bytes;
    std::string digits;
    for (std::string line; std::getline(file, line);) {
        for (const char c : line.substr(0, line.find('#'))) {
            if (std::isxdigit(static_cast<unsigned char>(c)) != 0)
                digits += c;
        }
    }
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

/// All golden vaults of a folder by name; those of version 4 unless another one is named.
inline std::map<std::string, std::string> goldenVaults(const std::filesystem::path& folder = VELLORIN_TEST_DATA)
{
    std::map<std::string, std::string> vaults;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".hex")
            vaults[entry.path().stem().string()] = bytesOfHexFile(entry.path());
    }
    return vaults;
}
