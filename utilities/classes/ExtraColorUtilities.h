#pragma once

#include "NSColor.h"

/// Operations on a colour: the first argument is the receiver.
namespace ExtraColorUtilities {

/// The components of a colour, 0 to 1; what can't be converted to red, green and blue is white. Alpha is always 1.
///
/// A line in the log says when the colour had to be converted, and another when it couldn't be. The first says that
/// white is saved, which holds only if the second follows. Raises: an inconsistency with "Bad color pointer (r).", or
/// (g), (b), (a), for the first reference that is null.
void getWhiteOrRed(const NSColor& color, double* red, double* green, double* blue, double* alpha);

} // namespace ExtraColorUtilities
