#pragma once

#include "NSPasteboard.h"

#include <map>
#include <string>

/// Operations on a pasteboard: the first argument is the receiver.
namespace ExtraPasteboardUtilities {

using Dictionary = std::map<std::string, NSData>;

/// Each type on the board with its data; a type without data is left out. Asks the owner for what it hasn't provided.
Dictionary pasteboardToDictionary(NSPasteboard& pasteboard);

/// Sets the data of each type, in the dictionary's order. The caller has declared the types: others are passed over.
void setFromDictionary(NSPasteboard& pasteboard, const Dictionary& dictionary);

} // namespace ExtraPasteboardUtilities
