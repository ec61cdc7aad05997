#include "ExtraPasteboardUtilities.h"

ExtraPasteboardUtilities::Dictionary ExtraPasteboardUtilities::pasteboardToDictionary(NSPasteboard& pasteboard)
{
    Dictionary dictionary;
    for (const std::string& type : pasteboard.types()) {
        if (const std::optional<NSData> data = pasteboard.dataForType(type))
            dictionary.insert_or_assign(type, *data);
    }
    return dictionary;
}

void ExtraPasteboardUtilities::setFromDictionary(NSPasteboard& pasteboard, const Dictionary& dictionary)
{
    for (const auto& [type, data] : dictionary)
        pasteboard.setDataForType(data, type);
}
