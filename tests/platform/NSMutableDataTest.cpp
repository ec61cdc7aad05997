#include "NSMutableData.h"

#include "NSException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory_resource>
#include <string>
#include <utility>

namespace {

/// Watches what comes back: it must be zero by then.
class WatchedResource final : public std::pmr::memory_resource {
public:
    WatchedResource()
        : before(std::pmr::set_default_resource(this))
    {
    }
    ~WatchedResource() override { std::pmr::set_default_resource(before); }

    int returned = 0;
    int dirty = 0;

private:
    void* do_allocate(std::size_t size, std::size_t alignment) override
    {
        return std::pmr::new_delete_resource()->allocate(size, alignment);
    }

    void do_deallocate(void* memory, std::size_t size, std::size_t alignment) override
    {
        const auto* const bytes = static_cast<const unsigned char*>(memory);
        ++returned;
        dirty += std::any_of(bytes, bytes + size, [](unsigned char byte) { return byte != 0; }) ? 1 : 0;
        std::pmr::new_delete_resource()->deallocate(memory, size, alignment);
    }

    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

    std::pmr::memory_resource* before;
};

std::string textOf(const NSMutableData& data)
{
    return std::string(reinterpret_cast<const char*>(data.bytes()), data.length());
}

TEST(NSMutableData, WipesWhatItGivesUp)
{
    WatchedResource watched;
    {
        NSMutableData data("secret", 6);
        for (int i = 0; i < 100; ++i)
            data.appendBytes("secret", 6);
        data.setLength(3);
        const NSMutableData other(std::move(data)); // takes the storage over
        EXPECT_EQ(textOf(other), "sec");
    }
    EXPECT_GT(watched.returned, 1);
    EXPECT_EQ(watched.dirty, 0);
}

TEST(NSMutableData, WipesItsTailWhenItIsCut)
{
    NSMutableData data("secret", 6);
    data.setLength(2);
    EXPECT_EQ(textOf(data), "se");
    data.setLength(4);
    EXPECT_EQ(textOf(data), std::string("se\0\0", 4));
}

TEST(NSMutableData, AppendsItsOwnBytes)
{
    NSMutableData data("abc", 3);
    for (int i = 0; i < 4; ++i) // through several storages
        data.appendBytes(data.bytes() + 1, data.length() - 1);
    EXPECT_EQ(textOf(data).substr(0, 9), "abcbcbcbc");
    EXPECT_EQ(data.length(), 33u);
    data.appendBytes(nullptr, 0);
    EXPECT_EQ(data.length(), 33u);
}

TEST(NSMutableData, RefusesRangesPastTheEnd)
{
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
    const NSMutableData data("abc", 3);
    char bytes[4] = "---";
    for (const NSRange& range : { NSRange { 0, 4 }, { 4, 0 }, { 1, kMost }, { kMost, 1 }, { kMost, 2 } })
        EXPECT_THROW(data.getBytes(bytes, range), NSException) << range.location << ' ' << range.length;
    EXPECT_STREQ(bytes, "---");
    data.getBytes(bytes, { 3, 0 });
    data.getBytes(bytes, { 1, 2 });
    EXPECT_STREQ(bytes, "bc-");
}

} // namespace
