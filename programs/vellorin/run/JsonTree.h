#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A JSON document as it was read. Unlike the library's own values, whose ends allocate and end the program where memory
/// has run out, one goes without memory: locks and temporary files must not outlive a run that fails.
struct JsonTree {
    enum class Kind {
        Other, // null, true, false, numbers that are no natural ones
        Text,
        Number,
        List,
        Object
    };

    /// Absent if it is no JSON, or lists stand too deep in lists. Raises: std::bad_alloc.
    static std::optional<JsonTree> ofText(const std::string& text);

    /// Null if it is no object, or has no such member.
    const JsonTree* member(const std::string& name) const;

    Kind kind = Kind::Other;
    std::string text;
    uint64_t number = 0;
    std::vector<JsonTree> elements; // of a list, or the values of an object
    std::vector<std::string> names; // of an object's values
};
