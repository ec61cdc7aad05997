#include "NSPasteboard.h"

#include <algorithm>
#include <utility>

namespace {

NSPasteboard* gGeneralPasteboard = nullptr;

bool contains(const std::vector<std::string>& types, const std::string& type)
{
    return std::find(types.begin(), types.end(), type) != types.end();
}

} // namespace

bool NSPasteboard::setStringForType(std::string_view text, const std::string& type)
{
    return setDataForType(NSData::dataWithBytesNoCopy(text.data(), text.size()), type);
}

NSPasteboard& NSPasteboard::generalPasteboard()
{
    static InProcessPasteboard ownBoard;
    return gGeneralPasteboard != nullptr ? *gGeneralPasteboard : ownBoard;
}

NSPasteboard* NSPasteboard::setGeneralPasteboard(NSPasteboard* pasteboard)
{
    return std::exchange(gGeneralPasteboard, pasteboard);
}

std::vector<std::string> NSPasteboard::desktopTypes(std::vector<std::string> types)
{
    if (contains(types, PasswordPboardType))
        types.emplace_back(kDesktopPasswordHint);
    return types;
}

int64_t InProcessPasteboard::declareTypes(const std::vector<std::string>& types, NSPasteboardOwner* owner)
{
    std::vector<Entry> entries;
    std::set<std::string> known { kDesktopPasswordHint }; // the platform's own
    for (const std::string& type : types) {
        if (known.insert(type).second)
            entries.push_back({ type, std::nullopt });
    }
    entries_ = std::move(entries);
    NSPasteboardOwner* const before = std::exchange(owner_, owner);
    const int64_t count = ++changeCount_;
    if (before != nullptr && before != owner)
        before->pasteboardChangedOwner(*this); // last: it may use the board
    return count;
}

bool InProcessPasteboard::setDataForType(const NSData& data, const std::string& type)
{
    Entry* const entry = entryFor(type);
    if (entry == nullptr)
        return false;
    entry->data = NSData::dataWithSecretBytes(data.bytes(), data.length());
    return true;
}

std::vector<std::string> InProcessPasteboard::types() const
{
    std::vector<std::string> types;
    for (const Entry& entry : entries_)
        types.push_back(entry.type);
    return types;
}

std::optional<NSData> InProcessPasteboard::dataForType(const std::string& type)
{
    const Entry* entry = entryFor(type);
    if (entry != nullptr && !entry->data && owner_ != nullptr) {
        askOwner(type);
        entry = entryFor(type); // the owner may have declared other types
    }
    return entry != nullptr ? entry->data : std::nullopt;
}

std::optional<NSData> InProcessPasteboard::desktopDataForType(const std::string& type)
{
    if (type == kDesktopPasswordHint && contains(desktopTypes(), type))
        return NSData::dataWithBytes(kDesktopPasswordHintData, sizeof kDesktopPasswordHintData - 1);
    return dataForType(type);
}

InProcessPasteboard::Entry* InProcessPasteboard::entryFor(const std::string& type)
{
    const auto found
        = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.type == type; });
    return found != entries_.end() ? &*found : nullptr;
}

/// An owner that looks at the board for what it is just providing finds nothing, rather than being asked for ever.
void InProcessPasteboard::askOwner(const std::string& type)
{
    struct WhileAsking {
        WhileAsking(std::set<std::string>& asked, const std::string& type)
            : asked(asked)
            , type(type)
        {
        }
        ~WhileAsking() { asked.erase(type); }
        std::set<std::string>& asked;
        const std::string type;
    };
    if (!asked_.insert(type).second)
        return;
    const WhileAsking whileAsking(asked_, type);
    owner_->pasteboardProvideDataForType(*this, type);
}
