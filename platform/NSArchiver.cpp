#include "NSArchiver.h"

#include "NSException.h"

#include <bit>
#include <utility>

// Writer and reader stand next to each other, in the order of the table in docs/archive-format.md.

namespace {

constexpr std::string_view kMagic("VLAr\1", 5); // with the version

enum Tag : char {
    kDictionary = 'd',
    kArray = 'a',
    kText = 's',
    kData = 'b',
    kInteger = 'i',
    kReal = 'r',
    kTrue = 'T',
    kFalse = 'F',
    kDate = 'D'
};

class Writer {
public:
    std::string archive(const NSPropertyList& root)
    {
        append(kMagic);
        putValue(root, 1);
        return std::move(bytes_);
    }

private:
    void putValue(const NSPropertyList& value, std::size_t level)
    {
        if (++values_ > NSArchiver::kMostValues)
            fail("too many values");
        if (level > NSArchiver::kDeepest)
            fail("nested too deep");
        std::visit([&](const auto& content) { put(content, level); }, value.value);
    }

    void put(const NSPropertyList::Dictionary& entries, std::size_t level)
    {
        putTagAndCount(kDictionary, entries.size());
        for (const auto& [key, value] : entries) {
            putBytes(key);
            putValue(value, level + 1);
        }
    }

    void put(const NSPropertyList::Array& items, std::size_t level)
    {
        putTagAndCount(kArray, items.size());
        for (const NSPropertyList& item : items)
            putValue(item, level + 1);
    }

    void put(const std::string& text, std::size_t)
    {
        putTag(kText);
        putBytes(text);
    }

    void put(const NSData& data, std::size_t)
    {
        putTag(kData);
        putBytes({ reinterpret_cast<const char*>(data.bytes()), data.length() });
    }

    void put(int64_t number, std::size_t) { putTagAndEightBytes(kInteger, static_cast<uint64_t>(number)); }
    void put(double number, std::size_t) { putTagAndEightBytes(kReal, std::bit_cast<uint64_t>(number)); }
    void put(bool value, std::size_t) { putTag(value ? kTrue : kFalse); }
    void put(const NSPropertyList::Date& date, std::size_t)
    {
        putTagAndEightBytes(kDate, std::bit_cast<uint64_t>(date.secondsSince2001));
    }

    void putTag(char tag) { append({ &tag, 1 }); }

    void putTagAndCount(Tag tag, std::size_t count)
    {
        putTag(tag);
        putBigEndian(count, 4);
    }

    void putTagAndEightBytes(Tag tag, uint64_t bits)
    {
        putTag(tag);
        putBigEndian(bits, 8);
    }

    void putBytes(std::string_view content)
    {
        putBigEndian(content.size(), 4);
        append(content);
    }

    /// A number that doesn't fit is past the largest archive, and what it counts fails after it.
    void putBigEndian(uint64_t number, int width)
    {
        char wire[8] = {};
        for (int i = 0; i < width; ++i)
            wire[i] = static_cast<char>(number >> 8 * (width - 1 - i));
        append({ wire, static_cast<std::size_t>(width) });
    }

    void append(std::string_view content)
    {
        if (content.size() > NSArchiver::kLargestArchive - bytes_.size())
            fail("too large");
        bytes_ += content;
    }

    [[noreturn]] static void fail(const char* reason) { NSException::raise(NSArchiver::kCantArchive, reason); }

    std::string bytes_;
    std::size_t values_ = 0;
};

class Reader {
public:
    explicit Reader(std::string_view archive)
        : rest_(archive)
    {
    }

    NSPropertyList root()
    {
        if (rest_.size() > NSArchiver::kLargestArchive)
            fail("too large");
        if (rest_.substr(0, kMagic.size()) != kMagic)
            fail("no archive of this version");
        rest_.remove_prefix(kMagic.size());
        NSPropertyList value = takeValue(1);
        if (!rest_.empty())
            fail("bytes behind the value");
        return value;
    }

private:
    NSPropertyList takeValue(std::size_t level)
    {
        if (++values_ > NSArchiver::kMostValues)
            fail("too many values");
        if (level > NSArchiver::kDeepest)
            fail("nested too deep");
        switch (take(1)[0]) {
        case kDictionary: return { takeDictionary(level) };
        case kArray: return { takeArray(level) };
        case kText: return { std::string(takeBytes()) };
        case kData: return { takeData() };
        case kInteger: return { static_cast<int64_t>(takeBigEndian(8)) };
        case kReal: return { std::bit_cast<double>(takeBigEndian(8)) };
        case kTrue: return { true };
        case kFalse: return { false };
        case kDate: return { NSPropertyList::Date { std::bit_cast<double>(takeBigEndian(8)) } };
        default: fail("unknown kind of value");
        }
    }

    // A count reserves nothing: each entry comes with its own bytes, or ends the reading.

    NSPropertyList::Dictionary takeDictionary(std::size_t level)
    {
        NSPropertyList::Dictionary entries;
        for (uint64_t left = takeBigEndian(4); left > 0; --left) {
            std::string key(takeBytes());
            if (!entries.empty() && entries.rbegin()->first >= key)
                fail("keys out of order");
            entries.emplace_hint(entries.end(), std::move(key), takeValue(level + 1));
        }
        return entries;
    }

    NSPropertyList::Array takeArray(std::size_t level)
    {
        NSPropertyList::Array items;
        for (uint64_t left = takeBigEndian(4); left > 0; --left)
            items.push_back(takeValue(level + 1));
        return items;
    }

    NSData takeData()
    {
        const std::string_view content = takeBytes();
        return NSData::dataWithBytes(content.data(), content.size());
    }

    std::string_view takeBytes() { return take(takeBigEndian(4)); }

    uint64_t takeBigEndian(std::size_t width)
    {
        uint64_t number = 0;
        for (const char byte : take(width))
            number = number << 8 | static_cast<unsigned char>(byte);
        return number;
    }

    std::string_view take(uint64_t n)
    {
        if (n > rest_.size())
            fail("cut short");
        const std::string_view taken = rest_.substr(0, n);
        rest_.remove_prefix(n);
        return taken;
    }

    [[noreturn]] static void fail(const char* reason) { NSException::raise(NSArchiver::kCantUnarchive, reason); }

    std::string_view rest_;
    std::size_t values_ = 0;
};

} // namespace

std::string NSArchiver::archivedDataWithRootObject(const NSPropertyList& root)
{
    return Writer().archive(root);
}

NSPropertyList NSArchiver::unarchiveObjectWithData(std::string_view archive)
{
    return Reader(archive).root();
}
