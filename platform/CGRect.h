#pragma once

/// Origin and size in points.
struct CGRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    bool operator==(const CGRect&) const = default;
};
