#include "ExtraColorUtilities.h"

#include "NSLog.h"
#include "UtilityExceptions.h"

#include <optional>

namespace {

constexpr char kNotRGB[] = "colorAsRGBColor: Color not RGB.  May be proprietary named space.  Saving white instead.";
constexpr char kCantConvert[] = "Can't convert selected color to RGB.";
constexpr char kMethod[] = "getWhiteOrRed:green:blue:alpha:";
constexpr int kNoLine = 0; // no report gives a line for these; the message tells them apart

void checkReference(const double* reference, const char* name)
{
    if (reference == nullptr)
        raiseInconsistency(std::string("Bad color pointer (") + name + ").", kMethod, kNoLine);
}

/// Absent for what can't be converted.
std::optional<NSColor::RGB> componentsOf(const NSColor& color)
{
    if (const auto components = color.components())
        return components;
    NSLog(kNotRGB);
    if (const auto converted = color.colorUsingRGBSpace())
        return converted->components();
    NSLog(kCantConvert);
    return std::nullopt;
}

} // namespace

void ExtraColorUtilities::getWhiteOrRed(const NSColor& color, double* red, double* green, double* blue, double* alpha)
{
    checkReference(red, "r");
    checkReference(green, "g");
    checkReference(blue, "b");
    checkReference(alpha, "a");
    constexpr NSColor::RGB kWhite { 1, 1, 1, 1 };
    const NSColor::RGB rgb = componentsOf(color).value_or(kWhite);
    *red = rgb.red;
    *green = rgb.green;
    *blue = rgb.blue;
    *alpha = 1; // whatever the colour's own is: callers store colours as opaque
}
