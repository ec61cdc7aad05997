#pragma once

#include "NSData.h"

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

/// A moment, in seconds since 2001-01-01 00:00:00 UTC.
struct NSPropertyListDate {
    double secondsSince2001 = 0;

    bool operator==(const NSPropertyListDate&) const = default;
};

/// A value as preferences and messages hold it: a collection of such values, or a single one.
struct NSPropertyList {
    using Dictionary = std::map<std::string, NSPropertyList>;
    using Array = std::vector<NSPropertyList>;
    using Date = NSPropertyListDate;

    std::variant<Dictionary, Array, std::string, NSData, int64_t, double, bool, Date> value;

    /// The content if it is of that kind, else null.
    template <class Kind>
    const Kind* as() const
    {
        return std::get_if<Kind>(&value);
    }

    bool operator==(const NSPropertyList& other) const { return value == other.value; }
};
