#pragma once

#include "NSData.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

class NSPasteboard;

/// Plain text, in UTF-8.
inline constexpr char NSStringPboardType[] = "NSStringPboardType";

/// Marks the board's text as a password.
inline constexpr char PasswordPboardType[] = "PasswordPboardType";

/// Provides data that is too costly to make before somebody asks for it.
///
/// A board borrows its owner until the types are next declared. An owner that ends before declares no types.
class NSPasteboardOwner {
public:
    /// Is to call setDataForType on the board, for a type that it has declared.
    virtual void pasteboardProvideDataForType(NSPasteboard& pasteboard, const std::string& type) = 0;

    /// Somebody else has declared types.
    virtual void pasteboardChangedOwner(NSPasteboard&) { }

protected:
    ~NSPasteboardOwner() = default;
};

/// A clipboard: several forms of one thing, by type.
///
/// A program declares the types, in the order of its preference, and sets the data of each at once, later, or through
/// an owner when it is asked for. Toolkits offer all types of a content together: an implementation over one hands over
/// an object that answers desktopTypes for the declared ones, and fetches data with dataForType when it is asked.
///
/// The desktop is told of a password in its own way, through a further type that clipboard managers know. That type
/// never appears in `types`, in either direction: what programs see are the declared ones.
class NSPasteboard {
public:
    virtual ~NSPasteboard() = default;

    /// Empties the board and takes it over; answers the new change count. The owner may be null. Of equal types the
    /// first counts.
    virtual int64_t declareTypes(const std::vector<std::string>& types, NSPasteboardOwner* owner) = 0;

    /// False for a type that isn't declared. The board keeps a copy, which it wipes.
    virtual bool setDataForType(const NSData& data, const std::string& type) = 0;

    bool setStringForType(std::string_view text, const std::string& type);

    /// In the order in which they were declared.
    virtual std::vector<std::string> types() const = 0;

    /// Absent for a type that is not on the board, or for which the owner provides nothing.
    virtual std::optional<NSData> dataForType(const std::string& type) = 0;

    /// Goes up each time when somebody takes the board over.
    virtual int64_t changeCount() const = 0;

    /// The board that all programs of the desktop share: the one that was set, else one within this process.
    static NSPasteboard& generalPasteboard();

    /// Borrows the board; null goes back to the one within this process. Answers the one that was set before, or null.
    static NSPasteboard* setGeneralPasteboard(NSPasteboard* pasteboard);

    // For implementations: what the desktop sees of a content with these types.

    static std::vector<std::string> desktopTypes(std::vector<std::string> types);

    static constexpr char kDesktopPasswordHint[] = "x-kde-passwordManagerHint";
    static constexpr char kDesktopPasswordHintData[] = "secret"; // without the terminator
};

/// The board of a program without a desktop. Data is wiped when it is replaced and nobody else shares it any more.
class InProcessPasteboard final : public NSPasteboard {
public:
    int64_t declareTypes(const std::vector<std::string>& types, NSPasteboardOwner* owner) override;
    bool setDataForType(const NSData& data, const std::string& type) override;
    std::vector<std::string> types() const override;
    std::optional<NSData> dataForType(const std::string& type) override;
    int64_t changeCount() const override { return changeCount_; }

    // The desktop's side

    std::vector<std::string> desktopTypes() const { return NSPasteboard::desktopTypes(types()); }
    std::optional<NSData> desktopDataForType(const std::string& type);

private:
    struct Entry {
        std::string type;
        std::optional<NSData> data;
    };

    Entry* entryFor(const std::string& type);
    void askOwner(const std::string& type);

    std::vector<Entry> entries_;
    NSPasteboardOwner* owner_ = nullptr;
    std::set<std::string> asked_; // types that the owner is providing at this moment
    int64_t changeCount_ = 0;
};
