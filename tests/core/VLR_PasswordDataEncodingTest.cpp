#include "CoreFixture.h"
#include "VLR_System.h"

// Bytes stand in groups, one for each field.
// clang-format off

namespace {

class Encoding : public CoreTest {
protected:
    /// A record block made of what stands ahead of the encrypted part and of that part before encipherment.
    VLR_MemoryBlock blockOf(const std::string& clear, const std::string& plain)
    {
        VLR_MemoryBlock body = fromHex(plain);
        document.DocFish().EncryptMemoryBlock(body);
        VLR_MemoryBlock block = fromHex(clear);
        VLR_MemoryStream(block).WriteData(body);
        return block;
    }

    /// The encrypted part that a record is written with, deciphered.
    VLR_MemoryBlock plainOf(VLR_PasswordData& written)
    {
        VLR_MemoryBlock block;
        written.WriteDataWithFish(block, document.DocFish());
        VLR_MemoryStream stream(block);
        VLR_PasswordData kept(&closed);
        kept.ReadDataWithFish(block, closed.DocFish());
        VLR_MemoryBlock plain(kept.EncryptedBody());
        document.DocFish().DecryptMemoryBlock(plain);
        return plain;
    }

    VLR_PasswordData* record = add(document, "U");
};

// What stands ahead of the encrypted part: format version, identity, flags, category, opaque bytes and value.
const std::string kClear4 = "00000004 0000000155 80ff 0000000163 00000000 7fffffff";

const std::string kEmptyTexts = "00000000000000000000000000000000000000000000000000000000";

TEST_F(Encoding, DatesCountFrom1970InAFile)
{
    const struct {
        const char* wire;
        uint32_t modified, lastUsed;
    } kCases[] = {
        { "00000000", 0, 0 },
        { "00000001", 3316660097, 1 }, // one wraps, the other stands
        { "3a4fc881", 1, 1 },
        { "ffffffff", 3316660095, 0 }, // far ahead
    };
    for (const auto& c : kCases) {
        VLR_MemoryBlock block = blockOf(kClear4, kEmptyTexts + c.wire + c.wire + "00000000 000000000000 00000000");
        VLR_PasswordData read(&document);
        read.ReadDataWithFish(block, document.DocFish());
        EXPECT_EQ(read.ModifiedDate(), c.modified) << c.wire;
        EXPECT_EQ(read.LastUsedDate(), c.lastUsed) << c.wire;
        EXPECT_EQ(hex(plainOf(read)).substr(56, 8), c.modified == 0 ? "00000000" : c.wire);
    }
}

TEST_F(Encoding, TheGrowthAreaKeepsWhatItDoesNotKnow)
{
    const struct {
        const char *name, *items, *browser, *writtenBack;
    } kCases[] = {
        { "none", "", "", "" },
        { "browser", "00000007 00000003616263", "abc", "0000000700000003616263" },
        { "items behind it", "00000007 00000003616263 00000002 0102 00000000", "abc",
            "0000000700000003616263" "000000020102" "00000000" },
        { "empty browser", "00000004 00000000", "", "" },
        { "an empty item in its place", "00000000 00000002 0102", "", "000000020102" }, // its place is lost
        { "older text", "00000006 0053006100e9", "Sa\xC3\xA9", "00000008000000045361c3a9" },
        { "older text too short to tell", "00000002 0041", "", "" },
        { "count that would wrap to the length", "00000006 000000020041", "\xEF\xBF\xBD", nullptr },
    };
    for (const auto& c : kCases) {
        VLR_MemoryBlock growth = fromHex(c.items), chunk;
        VLR_MemoryStream(chunk).WriteData(growth);
        VLR_MemoryBlock block = blockOf(kClear4, kEmptyTexts + "000000000000000000000000" "000000000000" + hex(chunk));
        VLR_PasswordData read(&document);
        ASSERT_EQ(failure([&] { read.ReadDataWithFish(block, document.DocFish()); }), "") << c.name;
        if (c.writtenBack == nullptr)
            continue;
        EXPECT_EQ(str(read.Browser()), c.browser) << c.name;
        VLR_MemoryBlock plain = plainOf(read);
        VLR_MemoryStream stream(plain);
        unsigned char ahead[46];
        stream.GetBytes(ahead, sizeof ahead);
        EXPECT_EQ(hex(stream.ReadData()), c.writtenBack) << c.name;
    }
}

TEST_F(Encoding, DamageBehindAFieldLeavesTheField)
{
    const std::string numbers = "00000000 00000000 00000000 000000000000";
    const struct {
        std::string plain, raised, title, notes;
    } kCases[] = {
        { "0000000174 0000000175 000000ff", "ReadData out of range.", "t", "" },
        { "0000000174 fffffffc", "ReadData out of range.", "t", "" },
        { kEmptyTexts.substr(8) + "000000016e" + numbers + "000000ff", "ReadData out of range.", "", "n" },
        { kEmptyTexts.substr(8) + "000000016e" + numbers + "00000005 00000002 01", "ReadData out of range.", "", "n" },
        { kEmptyTexts.substr(8) + "000000016e" + numbers + "00000003 000000", "GetBytes out of range.", "", "n" },
        { "0000000174 0000000175", "GetBytes out of range.", "t", "" },
        { "", "GetBytes out of range.", "", "" },
    };
    for (const auto& c : kCases) {
        VLR_MemoryBlock block = blockOf(kClear4, c.plain);
        VLR_PasswordData read(&document);
        EXPECT_EQ(failure([&] { read.ReadDataWithFish(block, document.DocFish()); }), c.raised) << c.plain;
        EXPECT_EQ(str(read.Title()), c.title) << c.plain;
        EXPECT_EQ(str(read.Notes()), c.notes) << c.plain;
        EXPECT_EQ(str(read.Category()), "c");
    }
    VLR_MemoryBlock odd = fromHex(kClear4 + "00000007 01020304050607");
    VLR_PasswordData read(&document);
    EXPECT_EQ(failure([&] { read.ReadDataWithFish(odd, document.DocFish()); }), "handle length not rounded to 64-bits");
    EXPECT_EQ(str(read.UUID()) + str(read.Title()), "U");
}

TEST_F(Encoding, AnEmptyRecordIsItsBytes)
{
    VLR_PasswordData empty(&document);
    empty.SetModifiedDate(0);
    empty.SetLastUsedDate(0);
    empty.SetChangedSinceSync(0);
    VLR_MemoryBlock out;
    empty.WriteDataWithFish(out, document.DocFish());
    EXPECT_EQ(out.Length(), 4u + 4 + 2 + 4 + 4 + 4 + 4 + 56);
    EXPECT_EQ(hex(out).substr(0, 52), "0000000400000000000000000000000000000000000000000038");
    EXPECT_EQ(empty.Checksum(), out.ComputeChecksum());
    EXPECT_EQ(empty.FileBlockLength(), out.Length());
}

TEST_F(Encoding, PlainPartIsInOrder)
{
    VLR_BlowFish& fish = document.DocFish();
    VLR_PasswordData filled(&document);
    filled.SetTitle(S("1"));
    filled.SetURL(S("2"));
    filled.SetUsername(S("3"));
    filled.SetPassword(S("4"));
    filled.SetUsernameLabel(S("5"));
    filled.SetPasswordLabel(S("6"));
    filled.SetNotes(S("7"));
    filled.SetBrowser(S("abc"));
    filled.SetModifiedDate(1);
    filled.SetLastUsedDate(0);
    VLR_MemoryBlock out;
    filled.WriteDataWithFish(out, fish);
    VLR_MemoryStream stream(out);
    stream.ScanUpToOrEnd(72); // the count of the encrypted part
    VLR_MemoryBlock body = stream.ReadData();
    fish.DecryptMemoryBlock(body);
    EXPECT_EQ(hex(body).substr(0, 136),
        "0000000131" "0000000132" "0000000133" "0000000134" "0000000135" "0000000136" "0000000137" "3a4fc881" "00000000"
        "00000000" "000000000000" "0000000b" "00000007" "00000003616263");
    VLR_PasswordData reread(&document);
    reread.ReadDataWithFish(out, fish);
    EXPECT_TRUE(reread.IsDuplicate(filled, false));
    EXPECT_EQ(reread.Checksum(), filled.Checksum());
    EXPECT_EQ(reread.OriginalChecksum(), filled.Checksum());
}

TEST_F(Encoding, ADateFarAheadCountsAsNone)
{
    VLR_BlowFish& fish = document.DocFish();
    const uint32_t now = VLR_System::SecondsSince2001();
    const std::pair<uint32_t, bool> kCases[] = { { now + 366 * 86400, false }, { now + 364 * 86400, true } };
    for (const auto& [date, stays] : kCases) {
        VLR_PasswordData dated(&document);
        dated.SetModifiedDate(date);
        dated.SetLastUsedDate(date);
        VLR_MemoryBlock out;
        dated.WriteDataWithFish(out, fish);
        VLR_PasswordData reread(&document);
        reread.ReadDataWithFish(out, fish);
        EXPECT_EQ(reread.ModifiedDate(), date);
        EXPECT_EQ(reread.LastUsedDate(), stays ? date : 0);
    }
}

TEST_F(Encoding, AnEncipheredRecordKeepsItsBodyAndChecksum)
{
    VLR_MemoryBlock out;
    record->WriteDataWithFish(out, document.DocFish());
    VLR_PasswordData kept(&closed);
    kept.ReadDataWithFish(out, closed.DocFish());
    EXPECT_TRUE(kept.Title().IsEmpty());
    EXPECT_EQ(str(kept.UUID()), "U");
    VLR_MemoryBlock again;
    kept.SetChangedSinceSync(1);
    kept.WriteDataWithFish(again, closed.DocFish());
    EXPECT_EQ(kept.Checksum(), out.ComputeChecksum());
    EXPECT_EQ(again.Length(), out.Length());
    EXPECT_EQ(kept.EncryptedBody().Length(), out.Length() - 27);
    EXPECT_EQ(failure([&] { VLR_PasswordData(&closed).WriteDataWithFish(again, closed.DocFish()); }),
        "no original encrypted data to write");
    EXPECT_EQ(failure([&] { kept.Serialize(); }), "code 21");
}

TEST_F(Encoding, WithoutAKeyNothingIsWrittenAndNoBodyRead)
{
    record->SetPassword(S("secret"));
    VLR_MemoryBlock out = S("what was there");
    const uint16_t before = record->Checksum();
    EXPECT_EQ(failure([&] { record->WriteDataWithFish(out, VLR_BlowFish()); }), "not ready to encrypt handle");
    EXPECT_EQ(str(out), "what was there");
    EXPECT_EQ(record->Checksum(), before);
    record->WriteDataWithFish(out, document.DocFish());
    VLR_PasswordData keyless(&document);
    EXPECT_EQ(failure([&] { keyless.ReadDataWithFish(out, VLR_BlowFish()); }), "not ready to decrypt handle");
    EXPECT_EQ(str(keyless.UUID()), str(record->UUID())); // what stands ahead of it has been read
}

TEST_F(Encoding, TransferFormIsItsBytes)
{
    record->SetURL(S("u"));
    record->SetBrowser(S("b"));
    record->SetCategory(S("c"));
    record->SetModifiedDate(2);
    record->SetLastUsedDate(3);
    const auto form = record->Serialize();
    EXPECT_EQ(hex(*form),
        "01" "0000000174" "0000000175" "00000000" "00000000" "00000000" "00000000" "00000000" "00000002" "00000003"
        "000000000000" "0000000162" "0000000163");
    VLR_PasswordData* const copy = add(document, "W", "old");
    copy->Deserialize(form.get());
    EXPECT_TRUE(copy->IsDuplicate(*record, false));
    EXPECT_EQ(copy->LastUsedDate(), 3u);
    EXPECT_EQ(str(copy->UUID()), "W");
    EXPECT_EQ(copy->ChangedSinceSync() + copy->Dirty(), 0);
    std::string elsewhere = str(*form);
    VLR_MemoryBlock borrowed;
    borrowed.Borrow(reinterpret_cast<const unsigned char*>(elsewhere.data()), static_cast<uint32_t>(elsewhere.size()));
    copy->Deserialize(&borrowed);
    elsewhere.assign(elsewhere.size(), '?'); // nobody needs it any more
    EXPECT_TRUE(copy->IsDuplicate(*record, false));
    VLR_MemoryBlock other = S("\2nothing of ours");
    copy->Deserialize(&other);
    EXPECT_EQ(str(copy->Title()), "t");
    VLR_MemoryBlock cut = S(str(*form).substr(0, 8));
    EXPECT_EQ(failure([&] { copy->Deserialize(&cut); }), "GetBytes out of range.");
}

} // namespace
