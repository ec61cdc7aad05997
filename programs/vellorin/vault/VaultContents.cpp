#include "VaultContents.h"

#include "VLR_FileTags.h"
#include "VLR_MacRoman.h"

#include <array>
#include <cstdio>

namespace {

constexpr uint64_t kTag = 4;
constexpr uint64_t kCount = 4;
constexpr uint32_t kCountOfAllOnes = 0xFFFFFFFF; // stands for an empty chunk
constexpr uint32_t kPresentFormat = 4;
constexpr uint32_t kPreferencesLength = 34;
constexpr uint32_t kOldestPreferences = 2;
constexpr uint32_t kNewestPreferences = 4;
constexpr std::size_t kDateInPreferences = 4;
constexpr std::size_t kSortOrderInPreferences = 13;
constexpr uint32_t kDescending = 0x80000000;
constexpr uint64_t kLargestVault = 0xFFFFFFFF; // readers count places in 32 bits
constexpr std::string_view kRecordTag = "Pdat";
constexpr uint32_t kBeginOfVersions1And2 = 256; // the count of the reference buffer, without a tag
constexpr char kOlderVersion[]
    = "it has the form of an older version, which a program with its password can bring up to date";

/// Of four bytes, the first one highest.
uint32_t numberAt(const char* bytes)
{
    const auto byte = [&](int i) { return uint32_t { static_cast<uint8_t>(bytes[i]) }; };
    return byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3);
}

/// A place in some bytes. Each step is false, and leaves the place where it is, if the bytes don't suffice.
class Cursor {
public:
    explicit Cursor(std::string_view bytes)
        : bytes_(bytes)
    {
    }

    uint64_t offset() const { return offset_; }
    uint64_t left() const { return bytes_.size() - offset_; }
    bool atEnd() const { return left() == 0; }

    bool take(uint64_t count, std::string_view& taken)
    {
        if (count > left())
            return false;
        taken = { next(), count };
        offset_ += count;
        return true;
    }

    bool number(uint32_t& value)
    {
        if (left() < 4)
            return false;
        value = numberAt(next());
        offset_ += 4;
        return true;
    }

    bool byte(uint8_t& value)
    {
        if (atEnd())
            return false;
        value = static_cast<uint8_t>(*next());
        ++offset_;
        return true;
    }

    bool beginsWith(uint32_t tag) const { return left() >= kTag && numberAt(next()) == tag; }

    bool exactly(uint32_t tag)
    {
        if (!beginsWith(tag))
            return false;
        offset_ += kTag;
        return true;
    }

    /// A count, and as many bytes. A count that passes the end is taken all the same: a reader goes on behind it.
    bool chunk(std::string_view& content, bool& isCountOfAllOnes)
    {
        uint32_t count = 0;
        if (!number(count))
            return false;
        isCountOfAllOnes = count == kCountOfAllOnes;
        return take(isCountOfAllOnes ? 0 : count, content);
    }

    /// To the next one of these letters, or to the end.
    void searchFor(std::string_view letters)
    {
        const std::size_t found = bytes_.find(letters, offset_);
        offset_ = found == std::string_view::npos ? bytes_.size() : found;
    }

private:
    const char* next() const { return bytes_.data() + offset_; }

    std::string_view bytes_;
    uint64_t offset_ = 0;
};

uint16_t checksumOf(std::string_view block)
{
    uint64_t sum = 0;
    for (std::size_t i = 0; i + 1 < block.size(); i += 2)
        sum += static_cast<uint64_t>(static_cast<uint8_t>(block[i])) << 8 | static_cast<uint8_t>(block[i + 1]);
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>(sum);
}

/// The identity of a record from a time when records had numbers.
std::string uuidOfOlderRecord(std::string_view block, uint8_t b, uint32_t i)
{
    std::array<char, 37> text {};
    std::snprintf(text.data(), text.size(), "00000000-0000-0000-%04X-%08X%04X", unsigned { checksumOf(block) }, i,
        unsigned { b });
    return text.data();
}

std::string utf8OfMacRoman(std::string_view text)
{
    std::string utf8;
    for (const char c : text) {
        const auto byte = static_cast<uint8_t>(c);
        const char16_t unit = byte < 0x80 ? byte : kMacRomanUpperHalf[byte - 0x80];
        if (unit < 0x80) {
            utf8 += c;
        } else if (unit < 0x800) {
            utf8 += static_cast<char>(0xC0 | unit >> 6);
            utf8 += static_cast<char>(0x80 | (unit & 0x3F));
        } else {
            utf8 += static_cast<char>(0xE0 | unit >> 12);
            utf8 += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
            utf8 += static_cast<char>(0x80 | (unit & 0x3F));
        }
    }
    return utf8;
}

[[noreturn]] void refuse(const std::string& reason, uint64_t offset)
{
    throw NoVault(reason, offset);
}

} // namespace

/// One pass over a vault's bytes, which fills its contents.
class VaultContents::Walk {
public:
    explicit Walk(VaultContents& contents)
        : contents_(contents)
        , vault_(std::string_view(reinterpret_cast<const char*>(contents.bytes_.bytes()), contents.bytes_.length()))
    {
    }

    void walk()
    {
        if (vault_.left() > kLargestVault)
            refuse("the file is larger than a vault can be", kLargestVault);
        header();
        while (!vault_.atEnd()) {
            strayBytes();
            if (!vault_.atEnd())
                record();
        }
    }

private:
    using Kind = VaultDamage::Kind;

    void header()
    {
        if (vault_.atEnd())
            refuse("the file is empty", 0);
        if (vault_.beginsWith(kBeginOfVersions1And2))
            refuse(kOlderVersion, 0);
        vault_.exactly(kVLR_MagicVersion4); // may be missing; the next save adds it
        section(kVLR_TagReferenceBuffer, "the reference buffer");
        text(contents_.referenceBuffer, "the reference buffer");
        preferences();
        section(kVLR_TagDeletionList, "the deletion list");
        deletions();
        if (vault_.beginsWith(kVLR_TagRecord))
            refuse(kOlderVersion, vault_.offset());
        section(kVLR_TagSyncInformation, "the identity");
        text(contents_.identity, "the identity");
        text(contents_.partner, "the partner's identity");
    }

    void section(uint32_t tag, const char* what)
    {
        if (!vault_.exactly(tag))
            refuse(std::string(what) + " is not where it has to be", vault_.offset());
    }

    void text(std::string_view& content, const char* what)
    {
        const uint64_t start = vault_.offset();
        bool allOnes = false;
        if (!vault_.chunk(content, allOnes))
            refuse(std::string(what) + " is cut", start);
        if (allOnes)
            contents_.damage.push_back({ Kind::CountOfAllOnes, start, kCount, std::nullopt });
    }

    void preferences()
    {
        section(kVLR_TagPreferences, "the preferences");
        const uint64_t start = vault_.offset();
        bool allOnes = false;
        std::string_view& content = contents_.preferences;
        if (!vault_.chunk(content, allOnes) || content.size() != kPreferencesLength)
            refuse("the preferences are cut or of a wrong length", start);
        const uint32_t version = numberAt(content.data());
        if (version < kOldestPreferences || version > kNewestPreferences)
            refuse("the preferences have an unknown version", start + kCount);
        const uint32_t sortOrder = numberAt(content.data() + kSortOrderInPreferences);
        contents_.openDate = numberAt(content.data() + kDateInPreferences);
        contents_.sortField = sortOrder == 0 ? 1 : sortOrder & ~kDescending;
        contents_.sortDescending = (sortOrder & kDescending) != 0;
    }

    void deletions()
    {
        std::string_view entries;
        text(entries, "the deletion list");
        const uint64_t start = vault_.offset() - entries.size();
        Cursor list(entries);
        while (!list.atEnd()) {
            VaultDeletion deletion;
            bool allOnes = false; // nothing is lost with it: the entry stays one for an empty identity
            uint8_t high = 0;
            uint8_t low = 0;
            const uint64_t entry = start + list.offset();
            if (!list.chunk(deletion.uuid, allOnes) || !list.byte(high) || !list.byte(low))
                refuse("an entry of the deletion list is cut", entry);
            deletion.checksum = static_cast<uint16_t>(high << 8 | low);
            contents_.deletions.push_back(deletion);
        }
    }

    /// Goes to the next record's tag, or to the end.
    void strayBytes()
    {
        const uint64_t start = vault_.offset();
        if (vault_.beginsWith(kVLR_TagRecord))
            return;
        vault_.searchFor(kRecordTag);
        contents_.damage.push_back({ Kind::StrayBytes, start, vault_.offset() - start, std::nullopt });
    }

    void record()
    {
        VaultRecord record;
        record.offset = vault_.offset();
        vault_.exactly(kVLR_TagRecord);
        std::string_view block;
        bool allOnes = false;
        damageOfRecord_.clear();
        record.isWhole = vault_.chunk(block, allOnes) && fields(block, record);
        record.length = vault_.offset() - record.offset;
        if (!record.isWhole)
            damageOfRecord_.assign({ { Kind::RecordCut, record.offset, record.length, std::nullopt } });
        for (VaultDamage& damage : damageOfRecord_) {
            damage.record = contents_.records.size();
            contents_.damage.push_back(damage);
        }
        contents_.records.push_back(record);
    }

    /// False if they aren't all there, with those filled that are.
    bool fields(std::string_view block, VaultRecord& record)
    {
        Cursor fields(block);
        const uint64_t start = record.offset + kTag + kCount;
        if (!fields.number(record.format))
            return false;
        if (record.format != kPresentFormat)
            damageOfRecord_.push_back({ record.format < kPresentFormat ? Kind::OlderFormat : Kind::NewerFormat,
                record.offset, kTag + kCount + block.size(), std::nullopt });
        if (!identity(fields, start, block, record) || !rest(fields, start, record))
            return false;
        if (record.body.empty())
            damageOfRecord_.push_back({ Kind::BodyMissing, start + fields.offset() - kCount, kCount, std::nullopt });
        if (!fields.atEnd())
            damageOfRecord_.push_back({ Kind::BytesBehindBody, start + fields.offset(), fields.left(), std::nullopt });
        return true;
    }

    bool identity(Cursor& fields, uint64_t start, std::string_view block, VaultRecord& record)
    {
        uint8_t collapsed = 0;
        uint8_t changed = 0;
        if (record.format >= kPresentFormat ? !chunk(fields, start, record.uuid)
                                            : !olderIdentity(fields, block, record))
            return false;
        if (!fields.byte(collapsed) || !fields.byte(changed))
            return false;
        record.changedSinceSync = changed != 0;
        return true;
    }

    bool olderIdentity(Cursor& fields, std::string_view block, VaultRecord& record)
    {
        std::string_view dropped;
        uint8_t b = 0;
        uint32_t i = 0;
        if ((record.format == 3 && !fields.take(2, dropped)) || !fields.byte(b) || !fields.number(i))
            return false;
        record.uuid = kept(uuidOfOlderRecord(block, b, i));
        return true;
    }

    bool rest(Cursor& fields, uint64_t start, VaultRecord& record)
    {
        if (record.format < 3)
            return chunk(fields, start, record.body);
        std::string_view clearBlock;
        uint32_t clearValue = 0;
        return category(fields, start, record) && chunk(fields, start, clearBlock) && fields.number(clearValue)
            && chunk(fields, start, record.body);
    }

    bool category(Cursor& fields, uint64_t start, VaultRecord& record)
    {
        if (record.format >= kPresentFormat)
            return chunk(fields, start, record.category);
        uint8_t count = 0;
        std::string_view macRoman;
        if (!fields.byte(count) || !fields.take(count, macRoman))
            return false;
        record.category = kept(utf8OfMacRoman(macRoman));
        return true;
    }

    bool chunk(Cursor& fields, uint64_t start, std::string_view& content)
    {
        const uint64_t offset = start + fields.offset();
        bool allOnes = false;
        if (!fields.chunk(content, allOnes))
            return false;
        if (allOnes)
            damageOfRecord_.push_back({ Kind::CountOfAllOnes, offset, kCount, std::nullopt });
        return true;
    }

    std::string_view kept(std::string text) { return contents_.madeTexts_.emplace_back(std::move(text)); }

    VaultContents& contents_;
    Cursor vault_;
    std::vector<VaultDamage> damageOfRecord_;
};

VaultContents::VaultContents(NSData bytes)
    : bytes_(std::move(bytes))
{
    Walk(*this).walk();
}

std::string describe(VaultDamage::Kind kind)
{
    switch (kind) {
    case VaultDamage::Kind::StrayBytes: return "bytes that belong to no record";
    case VaultDamage::Kind::RecordCut: return "the record is cut";
    case VaultDamage::Kind::BodyMissing: return "the record has no encrypted part";
    case VaultDamage::Kind::BytesBehindBody: return "bytes behind the record's encrypted part";
    case VaultDamage::Kind::OlderFormat: return "the record has an older format";
    case VaultDamage::Kind::NewerFormat: return "the record has a newer format";
    case VaultDamage::Kind::CountOfAllOnes: return "an empty field with a count that nobody writes";
    }
    return "damage";
}
