#include "ExtraPasteboardUtilities.h"
#include "ExtraStringUtilities.h"
#include "UtilityStandIns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>

#include <malloc.h>
#include <unistd.h>

namespace {

constexpr std::string_view kWatched = "correct horse battery staple";
bool gWatching = false;
int gGivenBackWithContent = 0;

void* obtain(std::size_t size)
{
    void* const memory = std::malloc(std::max<std::size_t>(size, 1));
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

/// Looks at what goes back to the allocator before it does.
void giveBack(void* memory)
{
    if (gWatching && memory != nullptr) {
        const std::string_view content(static_cast<const char*>(memory), ::malloc_usable_size(memory));
        gGivenBackWithContent += content.find(kWatched) != std::string_view::npos;
    }
    std::free(memory);
}

} // namespace

void* operator new(std::size_t size)
{
    return obtain(size);
}

void* operator new[](std::size_t size)
{
    return obtain(size);
}

void operator delete(void* memory) noexcept
{
    giveBack(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    giveBack(memory);
}

void operator delete[](void* memory) noexcept
{
    giveBack(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    giveBack(memory);
}

namespace {

using Types = std::vector<std::string>;

std::string contentOf(const std::optional<NSData>& data)
{
    return data ? std::string(reinterpret_cast<const char*>(data->bytes()), data->length()) : "none";
}

/// A general pasteboard for the length of a test.
class Board {
public:
    Board()
        : before_(NSPasteboard::setGeneralPasteboard(&board))
    {
    }
    ~Board() { NSPasteboard::setGeneralPasteboard(before_); }
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    InProcessPasteboard board;

private:
    NSPasteboard* before_;
};

/// Provides each type's name as its data, except for "never", and records what happens to it.
class OwnerStandIn final : public NSPasteboardOwner {
public:
    void pasteboardProvideDataForType(NSPasteboard& pasteboard, const std::string& type) override
    {
        asked += type + " ";
        EXPECT_EQ(pasteboard.dataForType(type), std::nullopt); // and not asked again
        if (type != "never")
            pasteboard.setStringForType("lazy " + type, type);
    }
    void pasteboardChangedOwner(NSPasteboard&) override { asked += "lost "; }

    std::string asked;
};

TEST(CopyToClipboard, MarksThePasswordWithThreeTypesInOrder)
{
    Board general;
    ExtraStringUtilities::copyToClipboard(text("p\xC3\xA4ss"));
    const std::string tag = "ClipboardTag" + std::to_string(::getpid());
    EXPECT_EQ(ExtraStringUtilities::clipboardTag(), tag);
    EXPECT_EQ(general.board.types(), (Types { "NSStringPboardType", tag, "PasswordPboardType" }));
    EXPECT_EQ(contentOf(general.board.dataForType("NSStringPboardType")), "p\xC3\xA4ss");
    EXPECT_EQ(contentOf(general.board.dataForType(tag)), ".");
    EXPECT_EQ(contentOf(general.board.dataForType("PasswordPboardType")), "PasswordPboardType");
    EXPECT_EQ(plain(ExtraStringUtilities::stringWithClipboard()), "p\xC3\xA4ss");
}

TEST(CopyToClipboard, OnlyTheDesktopSeesItsHint)
{
    Board general;
    constexpr char kHint[] = "x-kde-passwordManagerHint";
    ExtraStringUtilities::copyToClipboard(text("pass"));
    Types four = general.board.types();
    four.emplace_back(kHint);
    EXPECT_EQ(general.board.desktopTypes(), four);
    EXPECT_EQ(contentOf(general.board.desktopDataForType(kHint)), "secret");
    EXPECT_EQ(contentOf(general.board.desktopDataForType("PasswordPboardType")), "PasswordPboardType");
    EXPECT_EQ(general.board.dataForType(kHint), std::nullopt);
    EXPECT_EQ(ExtraPasteboardUtilities::pasteboardToDictionary(general.board).size(), 3U);
    general.board.declareTypes({ "NSStringPboardType", kHint }, nullptr);
    EXPECT_EQ(general.board.desktopTypes(), Types { "NSStringPboardType" }); // no password: no hint
    EXPECT_EQ(general.board.desktopDataForType(kHint), std::nullopt);
}

TEST(CopyToClipboard, ReplacedBytesAreWiped)
{
    Board general;
    const VLR_String secret = text(kWatched.data());
    gWatching = true;
    ExtraStringUtilities::copyToClipboard(secret);
    general.board.setStringForType("another", NSStringPboardType);
    ExtraStringUtilities::copyToClipboard(secret);
    const bool isThere = general.board.dataForType(NSStringPboardType)
        == NSData::dataWithBytesNoCopy(kWatched.data(), kWatched.size());
    general.board.declareTypes({}, nullptr);
    EXPECT_EQ(gGivenBackWithContent, 0);
    NSData::dataWithBytes(kWatched.data(), kWatched.size()); // which nobody wipes
    gWatching = false;
    EXPECT_EQ(std::exchange(gGivenBackWithContent, 0), 1);
    EXPECT_TRUE(isThere);
}

TEST(StringWithClipboard, IsEmptyWithoutText)
{
    Board general;
    EXPECT_EQ(plain(ExtraStringUtilities::stringWithClipboard()), "");
    general.board.declareTypes({ "NSStringPboardType" }, nullptr); // declared, but without data
    EXPECT_EQ(plain(ExtraStringUtilities::stringWithClipboard()), "");
}

TEST(InProcessPasteboard, AsksItsOwnerOnceForEachType)
{
    InProcessPasteboard board;
    OwnerStandIn owner;
    const int64_t count = board.declareTypes({ "a", "b", "a", "never" }, &owner);
    EXPECT_EQ(board.types(), (Types { "a", "b", "never" }));
    board.setStringForType("at once", "b");
    EXPECT_FALSE(board.setStringForType("x", "undeclared"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(contentOf(board.dataForType("a")), "lazy a");
        EXPECT_EQ(contentOf(board.dataForType("b")), "at once");
    }
    EXPECT_EQ(contentOf(board.dataForType("never")), "none");
    EXPECT_EQ(contentOf(board.dataForType("undeclared")), "none");
    EXPECT_EQ(owner.asked, "a never ");
    board.declareTypes({}, &owner);
    EXPECT_EQ(board.declareTypes({ "a" }, nullptr), count + 2);
    EXPECT_EQ(owner.asked, "a never lost ");
    EXPECT_EQ(contentOf(board.dataForType("a")), "none");
}

TEST(ExtraPasteboardUtilities, ABoardGoesThroughADictionary)
{
    InProcessPasteboard from;
    OwnerStandIn owner;
    from.declareTypes({ "z", "never", "a" }, &owner);
    from.setStringForType("", "z");
    const auto dictionary = ExtraPasteboardUtilities::pasteboardToDictionary(from);
    EXPECT_EQ(dictionary.size(), 2U);
    InProcessPasteboard to;
    to.declareTypes({ "z", "never" }, nullptr);
    ExtraPasteboardUtilities::setFromDictionary(to, dictionary);
    EXPECT_EQ(to.types(), (Types { "z", "never" })); // declares nothing
    EXPECT_EQ(contentOf(to.dataForType("z")), "");
    EXPECT_EQ(contentOf(to.dataForType("never")), "none");
}

} // namespace
