#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// The pieces of which docs/file-format.md makes all files ("Bytes"), taken from the front. From the first that passes
/// the end on, all are empty or 0.
class PlainBytes {
public:
    explicit PlainBytes(std::string bytes)
        : rest(std::move(bytes))
    {
    }

    bool isCut() const { return wasCut; }
    bool isAtEnd() const { return rest.empty(); }

    std::string take(std::size_t n);
    uint32_t number(std::size_t size); // big-endian
    std::string chunk();
    std::string shortText(); // the texts are UTF-8
    std::string asciiText();

    void cut() { take(rest.size() + 1); }

private:
    std::string rest;
    bool wasCut = false;
};

/// Of big-endian UTF-16 without a count. A last odd byte is left out.
std::string utf8OfUtf16(const std::string& bytes);
