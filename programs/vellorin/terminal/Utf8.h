#pragma once

#include <cstddef>
#include <string_view>

/// One character at the start of a text, or one byte that doesn't belong to any.
struct Utf8Step {
    char32_t character = 0; // or the byte's value
    std::size_t length = 1;
    bool isCharacter = false;
};

/// The first step of a text that isn't empty. Overlong forms, surrogates and what lies past U+10FFFF are wrong bytes.
Utf8Step firstStep(std::string_view text);

bool isUtf8(std::string_view text);
