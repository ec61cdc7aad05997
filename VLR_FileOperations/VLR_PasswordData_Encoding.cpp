#include "VLR_PasswordData.h"

#include "VLR_BlowFish.h"
#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_System.h"

#include <bit>
#include <utility>

namespace {

constexpr uint32_t kRecordFormatVersion = 4;
constexpr uint8_t kTransferFormVersion = 1;

constexpr uint32_t k1970To2001 = 978307200;
constexpr uint32_t k1904To2001 = 3061152000;
constexpr uint32_t kClockIsSet = 220838401; // 2008-01-01 00:00:01 UTC
constexpr uint32_t kYear = 31536000;

constexpr uint64_t kCount = 4; // the count in front of a chunk

uint64_t ChunkLength(const VLR_MemoryBlock& content)
{
    return kCount + content.Length();
}

/// 0 stands for no date in memory and in the file alike.
uint32_t DateToFile(uint32_t date)
{
    return date != 0 ? date + k1970To2001 : 0;
}

uint32_t ModifiedDateFromFile(uint32_t date, uint32_t version)
{
    if (version >= 4)
        return date != 0 ? date - k1970To2001 : 0;
    return date > k1904To2001 ? date - k1904To2001 : date;
}

/// A date far ahead of a clock that is set is a fault of some earlier writer; it counts as none.
uint32_t LastUsedDateFromFile(uint32_t date)
{
    const uint32_t converted = date > k1970To2001 ? date - k1970To2001 : date;
    const uint32_t now = VLR_System::SecondsSince2001();
    const bool tooFarAhead = now >= kClockIsSet && uint64_t { converted } > uint64_t { now } + kYear;
    return tooFarAhead ? 0 : converted;
}

void ReadText(VLR_Stream& stream, uint32_t version, VLR_String& text)
{
    if (version >= 4)
        stream.ReadUTF8String(text); // in its place: most of an open vault's storage is made here
    else
        text = stream.ReadStr255();
}

void SwapUnits(VLR_MemoryBlock& utf16BigEndian)
{
    unsigned char* const bytes = utf16BigEndian.Bytes();
    for (uint32_t i = 0; i + 1 < utf16BigEndian.Length(); i += 2)
        std::swap(bytes[i], bytes[i + 1]);
}

} // namespace

// The record's file block, format version 4. Big-endian.
//
//   UInt32  format version        UTF-8   category
//   UTF-8   uuid                  chunk   clear block
//   SInt8   collapsed             SInt32  clear value
//   UInt8   changed since sync    chunk   encrypted part

/// All but the encrypted part. What is written and what is compared with the bytes of a file follow this one list.
template <class Sink>
void VLR_PasswordData::WalkClearPart(Sink& sink) const
{
    sink.WriteUInt32(kRecordFormatVersion);
    sink.WriteData(uuid_);
    sink.WriteSInt8(collapsed_);
    sink.WriteUInt8(changedSinceSync_);
    sink.WriteData(category_);
    sink.WriteData(clearBlock_);
    sink.WriteSInt32(clearValue_);
}

namespace {

/// Stands where a stream would be written to, and compares what is given to it with bytes of a file that are in memory.
/// Chunks are the same if they still borrow their content from their very place: nothing is read but counts and
/// numbers, and nothing behind the first difference.
class ComparingSink {
public:
    explicit ComparingSink(const unsigned char* bytes)
        : next(bytes)
    {
    }

    bool AllSame() const { return allSame; }

    void WriteUInt8(uint8_t value) { Take(allSame && next[0] == value, 1); }
    void WriteSInt8(int8_t value) { WriteUInt8(static_cast<uint8_t>(value)); }
    void WriteUInt32(uint32_t value) { Take(allSame && VLR_Stream::UInt32At(next) == value, 4); }
    void WriteSInt32(int32_t value) { WriteUInt32(static_cast<uint32_t>(value)); }
    void WriteData(const VLR_MemoryBlock& block)
    {
        WriteUInt32(block.Length());
        Take(allSame && (block.IsEmpty() || block.Bytes() == next), block.Length());
    }

private:
    void Take(bool same, uint32_t n)
    {
        allSame = same;
        if (same)
            next += n;
    }

    const unsigned char* next;
    bool allSame = true;
};

} // namespace

const unsigned char* VLR_PasswordData::FileBlockAsRead() const
{
    if (blockAsRead == nullptr || !document_->KeepEncrypted() || encryptedBody.IsEmpty())
        return nullptr;
    ComparingSink sink(blockAsRead);
    WalkClearPart(sink);
    sink.WriteData(encryptedBody);
    return sink.AllSame() ? blockAsRead : nullptr;
}

void VLR_PasswordData::WriteDataWithFish(VLR_MemoryBlock& out, const VLR_BlowFish& fish)
{
    if (!document_->KeepEncrypted()) {
        WriteEnciphered(out, fish);
        return;
    }
    out.Resize(0);
    VLR_MemoryStream stream(out);
    WriteClearPart(stream);
    if (encryptedBody.IsEmpty())
        VLR_RAISE(kNoOriginalData);
    stream.WriteData(encryptedBody);
}

/// The encrypted part is built where it is enciphered: in a block of its own, so that after a failure nobody holds the
/// clear text.
void VLR_PasswordData::WriteEnciphered(VLR_MemoryBlock& out, const VLR_BlowFish& fish)
{
    VLR_MemoryBlock block;
    VLR_MemoryStream stream(block);
    WriteClearPart(stream);
    stream.WriteUInt32(static_cast<uint32_t>(EncryptedPartLength()));
    const uint32_t start = block.Length();
    WriteEncryptedPart(stream);
    fish.EncryptMemoryBlock(block, start);
    SettleChecksums();
    checksum = block.ComputeChecksum();
    out.Exchange(block);
}

void VLR_PasswordData::WriteClearPart(VLR_Stream& stream) const
{
    stream.ExpectBytes(FileBlockLength());
    WalkClearPart(stream);
}

uint64_t VLR_PasswordData::FileBlockLength() const
{
    const uint64_t bodyLength = document_->KeepEncrypted() ? encryptedBody.Length() : EncryptedPartLength();
    return 4 + ChunkLength(uuid_) + 1 + 1 + ChunkLength(category_) + ChunkLength(clearBlock_) + 4 + kCount + bodyLength;
}

namespace {

/// Stands where a stream would be read from, and lends what lies in memory without any fuss. False where the bytes
/// don't suffice.
class LendingWalk {
public:
    explicit LendingWalk(const VLR_MemoryBlock& bytes)
        : next(bytes.Bytes())
        , left(bytes.Length())
    {
    }

    bool UInt8(uint8_t& value) { return Has(1) && (value = *Take(1), true); }
    bool UInt32(uint32_t& value) { return Has(4) && (value = VLR_Stream::UInt32At(Take(4)), true); }
    bool Chunk(VLR_MemoryBlock& block)
    {
        uint32_t n = 0;
        return UInt32(n) && Has(n) && (block.Borrow(Take(n), n), true);
    }

private:
    bool Has(uint32_t n) const { return n <= left; }

    const unsigned char* Take(uint32_t n)
    {
        left -= n;
        return std::exchange(next, next + n);
    }

    const unsigned char* next;
    uint32_t left;
};

} // namespace

/// Reads a sound block of format version 4 whose content is borrowed, which is nearly every one, in a fraction of the
/// time. False for any other, with some fields assigned: the careful reader assigns them again.
bool VLR_PasswordData::BorrowFileBlock(const VLR_MemoryBlock& block)
{
    LendingWalk walk(block);
    uint32_t version = 0;
    uint8_t collapsed = 0;
    uint32_t clearValue = 0;
    const bool isWhole = walk.UInt32(version) && version == kRecordFormatVersion && walk.Chunk(uuid_)
        && walk.UInt8(collapsed) && walk.UInt8(changedSinceSync_) && walk.Chunk(category_) && walk.Chunk(clearBlock_)
        && walk.UInt32(clearValue) && walk.Chunk(encryptedBody);
    if (!isWhole)
        return false;
    collapsed_ = static_cast<int8_t>(collapsed);
    clearValue_ = static_cast<int32_t>(clearValue);
    blockAsRead = block.Bytes();
    lengthToSum = block.Length();
    return true;
}

/// A checksum is asked for at an edit, if ever, and would be all that looks at a record's body.
void VLR_PasswordData::SettleChecksums() const
{
    if (lengthToSum == 0)
        return;
    VLR_MemoryBlock block;
    block.Borrow(blockAsRead, lengthToSum);
    checksum = block.ComputeChecksum();
    originalChecksum = checksum;
    lengthToSum = 0;
}

void VLR_PasswordData::ReadDataWithFish(VLR_MemoryBlock& block, const VLR_BlowFish& fish)
{
    blockAsRead = nullptr;
    lengthToSum = 0;
    if (block.IsBorrowed() && document_->KeepEncrypted() && BorrowFileBlock(block))
        return;
    checksum = block.ComputeChecksum();
    originalChecksum = checksum;

    VLR_MemoryStream stream(block);
    const uint32_t version = stream.ReadUInt32();
    ReadClearPart(stream, version);
    if (document_->KeepEncrypted()) {
        stream.ReadData(encryptedBody);
        return;
    }
    VLR_MemoryBlock plain;
    stream.ReadData(plain);
    fish.DecryptMemoryBlock(plain);
    VLR_MemoryStream plainStream(plain);
    ReadEncryptedPart(plainStream, version);
}

void VLR_PasswordData::ReadClearPart(VLR_Stream& stream, uint32_t version)
{
    if (version == 3) {
        stream.ReadUInt8();
        stream.ReadUInt8();
    }
    if (version >= 4)
        stream.ReadUTF8String(uuid_);
    else
        ReadIdentityBeforeVersion4(stream);
    collapsed_ = stream.ReadSInt8();
    changedSinceSync_ = stream.ReadUInt8();
    if (version < 3)
        return;
    if (version >= 4)
        stream.ReadUTF8String(category_);
    else
        category_ = stream.ReadStr255();
    stream.ReadData(clearBlock_);
    clearValue_ = stream.ReadSInt32();
}

/// An old identity and the checksum of the whole block make a UUID that is the same at each read.
void VLR_PasswordData::ReadIdentityBeforeVersion4(VLR_Stream& stream)
{
    const uint8_t b = stream.ReadUInt8();
    const uint32_t i = stream.ReadUInt32();
    uuid_ = VLR_System::NewUUID(i, b, checksum);
}

// The encrypted part, format version 4, before encipherment.
//
//   UTF-8   title, URL, user name, password,          Color   red, green, blue: UInt16 each
//           user name label, password label, notes    chunk   growth area: chunks up to its end
//   UInt32  modified date, last used date: since 1970 zeros   up to a multiple of 8
//   UInt32  hidden value

void VLR_PasswordData::WriteEncryptedPart(VLR_Stream& stream) const
{
    const VLR_PasswordDataDetails& record = Details();
    stream.WriteUTF8String(record.title_);
    stream.WriteUTF8String(record.URL_);
    stream.WriteUTF8String(record.username_);
    stream.WriteUTF8String(record.password_);
    stream.WriteUTF8String(record.usernameLabel_);
    stream.WriteUTF8String(record.passwordLabel_);
    stream.WriteUTF8String(record.notes_);
    stream.WriteUInt32(DateToFile(modifiedDate_));
    stream.WriteUInt32(DateToFile(lastUsedDate_));
    stream.WriteUInt32(record.hiddenValue_);
    stream.WriteColor(record.color_);
    WriteGrowthArea(stream);
}

/// Element 0 is rebuilt from the browser and never written back as it was read. Without a browser, element 1 comes
/// first and a later read takes it for the browser item: earlier writers did the same, and files in use show it.
void VLR_PasswordData::WriteGrowthArea(VLR_Stream& stream) const
{
    const VLR_PasswordDataDetails& record = Details();
    stream.WriteUInt32(static_cast<uint32_t>(GrowthAreaLength())); // fits, as the whole block does
    if (!record.browser_.IsEmpty()) {
        stream.WriteUInt32(static_cast<uint32_t>(ChunkLength(record.browser_)));
        stream.WriteUTF8String(record.browser_);
    }
    for (uint32_t i = 1; i < record.futureGrowth_.Count(); ++i)
        stream.WriteData(*record.futureGrowth_.ObjectAtIndex(i));
}

uint64_t VLR_PasswordData::GrowthAreaLength() const
{
    const VLR_PasswordDataDetails& record = Details();
    uint64_t length = record.browser_.IsEmpty() ? 0 : kCount + ChunkLength(record.browser_);
    for (uint32_t i = 1; i < record.futureGrowth_.Count(); ++i)
        length += ChunkLength(*record.futureGrowth_.ObjectAtIndex(i));
    return length;
}

uint64_t VLR_PasswordData::EncryptedPartLength() const
{
    const VLR_PasswordDataDetails& record = Details();
    uint64_t length = 3 * 4 + 3 * 2 + kCount; // dates, hidden value, colour, and the growth area's count
    for (const VLR_String* const text : { &record.title_, &record.URL_, &record.username_, &record.password_,
             &record.usernameLabel_, &record.passwordLabel_, &record.notes_ })
        length += ChunkLength(*text);
    length += GrowthAreaLength();
    return (length + VLR_BlowFish::kBlockLength - 1) / VLR_BlowFish::kBlockLength * VLR_BlowFish::kBlockLength;
}

void VLR_PasswordData::ReadEncryptedPart(VLR_Stream& stream, uint32_t version)
{
    ReadTexts(stream, version);
    ReadDatesAndColor(stream, version);
    if (version < 3)
        return;
    ReadGrowthArea(stream);
    ReadFutureGrowthEncrypted();
}

void VLR_PasswordData::ReadTexts(VLR_Stream& stream, uint32_t version)
{
    VLR_PasswordDataDetails& record = ChangeableDetails();
    ++titleChanges;
    ReadText(stream, version, record.title_);
    ReadText(stream, version, record.URL_);
    ReadText(stream, version, record.username_);
    ReadText(stream, version, record.password_);
    if (version >= 4) {
        ReadText(stream, version, record.usernameLabel_);
        ReadText(stream, version, record.passwordLabel_);
    }
    if (version == 3)
        record.notes_ = stream.ReadCString();
    else
        ReadText(stream, version, record.notes_);
}

void VLR_PasswordData::ReadDatesAndColor(VLR_Stream& stream, uint32_t version)
{
    modifiedDate_ = ModifiedDateFromFile(stream.ReadUInt32(), version);
    if (version < 4)
        return;
    lastUsedDate_ = LastUsedDateFromFile(stream.ReadUInt32());
    ChangeableDetails().hiddenValue_ = stream.ReadUInt32();
    ChangeableDetails().color_ = stream.ReadColor();
}

void VLR_PasswordData::ReadGrowthArea(VLR_Stream& stream)
{
    VLR_MemoryBlock growth = stream.ReadData();
    VLR_MemoryStream items(growth);
    while (!items.AtEnd()) {
        auto item = std::make_unique<VLR_MemoryBlock>();
        items.ReadData(*item);
        ChangeableDetails().futureGrowth_.AppendObject(item.get());
        item.release(); // the array's now
    }
}

void VLR_PasswordData::ReadFutureGrowthEncrypted()
{
    VLR_PasswordDataDetails& record = ChangeableDetails();
    if (record.futureGrowth_.IsEmpty())
        return;
    VLR_MemoryBlock& item = *record.futureGrowth_.ObjectAtIndex(0);
    VLR_MemoryStream stream(item);
    uint32_t count = 0;
    if (!stream.PeekUInt32(count))
        return;
    if (kCount + count == item.Length()) {
        stream.ReadUTF8String(record.browser_);
        return;
    }
    // An older writer's form: UTF-16 text without a count, big-endian.
    if constexpr (std::endian::native == std::endian::little)
        SwapUnits(item);
    VLR_System::ConvertString(item, VLR_CharacterSetUTF16, record.browser_, VLR_CharacterSetUTF8);
}

void VLR_PasswordData::ReadDataWithFishVersion1(VLR_MemoryBlock& block, const VLR_BlowFish& fish)
{
    fish.DecryptMemoryBlock(block);
    VLR_MemoryStream stream(block);
    VLR_PasswordDataDetails& record = ChangeableDetails();
    ++titleChanges;
    record.title_ = stream.ReadStr255();
    record.URL_ = stream.ReadStr255();
    record.username_ = stream.ReadStr255();
    record.password_ = stream.ReadStr255();
    modifiedDate_ = ModifiedDateFromFile(stream.ReadUInt32(), 1);
    uuid_ = VLR_System::NewUUID();
}

namespace {

struct TransferWriter {
    VLR_Stream& stream;
    void UTF8String(const VLR_String& text) { stream.WriteUTF8String(text); }
    void UInt32(uint32_t value) { stream.WriteUInt32(value); }
    void Color(const VLR_Color& color) { stream.WriteColor(color); }
};

struct TransferReader {
    VLR_Stream& stream;
    void UTF8String(VLR_String& text) { stream.ReadUTF8String(text); }
    void UInt32(uint32_t& value) { value = stream.ReadUInt32(); }
    void Color(VLR_Color& color) { color = stream.ReadColor(); }
};

/// Transfer form behind its version byte. Big-endian. Reader and writer both walk this list.
template <class Walk, class Details, class Date, class Text>
void WalkTransferForm(Walk walk, Details& record, Date& modifiedDate, Date& lastUsedDate, Text& category)
{
    walk.UTF8String(record.title_);
    walk.UTF8String(record.URL_);
    walk.UTF8String(record.username_);
    walk.UTF8String(record.password_);
    walk.UTF8String(record.usernameLabel_);
    walk.UTF8String(record.passwordLabel_);
    walk.UTF8String(record.notes_);
    walk.UInt32(modifiedDate); // seconds since 2001, as in memory
    walk.UInt32(lastUsedDate);
    walk.Color(record.color_);
    walk.UTF8String(record.browser_);
    walk.UTF8String(category);
}

} // namespace

std::unique_ptr<VLR_MemoryBlock> VLR_PasswordData::Serialize() const
{
    if (document_->KeepEncrypted())
        VLR_RAISE_CODE(VLR_ExceptionRecordEncrypted);
    auto block = std::make_unique<VLR_MemoryBlock>();
    VLR_MemoryStream stream(*block);
    stream.WriteUInt8(kTransferFormVersion);
    WalkTransferForm(TransferWriter { stream }, Details(), modifiedDate_, lastUsedDate_, category_);
    return block;
}

void VLR_PasswordData::Deserialize(VLR_MemoryBlock* block)
{
    static_cast<void>(block->Bytes()); // texts in the clear are no one else's to keep: a borrowed content is copied
    VLR_MemoryStream stream(*block);
    if (stream.ReadUInt8() != kTransferFormVersion)
        return;
    ++titleChanges;
    WalkTransferForm(TransferReader { stream }, ChangeableDetails(), modifiedDate_, lastUsedDate_, category_);
}
