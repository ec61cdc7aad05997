#pragma once

#include <optional>

/// A colour in one of the colour spaces that a desktop hands out. Components run from 0 to 1.
class NSColor {
public:
    struct RGB {
        double red = 0;
        double green = 0;
        double blue = 0;
        double alpha = 1;

        bool operator==(const RGB&) const = default;
    };

    static NSColor colorWithDeviceRGB(const RGB& components) { return NSColor(Space::RGB, components); }

    /// A shade of grey: it has no red, green and blue of its own, but can be converted.
    static NSColor colorWithWhite(double white, double alpha)
    {
        return NSColor(Space::White, RGB { white, white, white, alpha });
    }

    /// A pattern or a proprietary name, which nothing converts.
    static NSColor namedColor() { return NSColor(Space::Named, RGB {}); }

    /// Red, green and blue, if the colour is in a space that has them.
    std::optional<RGB> components() const { return space == Space::RGB ? std::optional(rgb) : std::nullopt; }

    /// The colour in an RGB space, if it can be converted.
    std::optional<NSColor> colorUsingRGBSpace() const
    {
        return space == Space::Named ? std::nullopt : std::optional(colorWithDeviceRGB(rgb));
    }

private:
    enum class Space {
        RGB,
        White,
        Named
    };

    NSColor(Space space, const RGB& rgb)
        : space(space)
        , rgb(rgb)
    {
    }

    Space space;
    RGB rgb;
};
