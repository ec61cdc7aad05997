#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

/// For tables whose keys come from files: keyed anew in each process, so that a hostile file can't choose collisions.
struct TextHash {
    using is_transparent = void;

    std::size_t operator()(std::string_view text) const;

    /// Of several texts, each with its length.
    static std::size_t of(std::initializer_list<std::string_view> texts);
};
