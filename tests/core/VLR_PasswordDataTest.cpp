#include "CoreFixture.h"
#include "VLR_System.h"

namespace {

class Record : public CoreTest {
protected:
    VLR_PasswordData* record = add(document, "U");
};

TEST_F(Record, EverySetterEditsOnce)
{
    const struct {
        void (VLR_PasswordData::*set)(const VLR_String&);
        const VLR_String& (VLR_PasswordData::*get)() const;
    } kFields[] = {
        { &VLR_PasswordData::SetTitle, &VLR_PasswordData::Title },
        { &VLR_PasswordData::SetCategory, &VLR_PasswordData::Category },
        { &VLR_PasswordData::SetBrowser, &VLR_PasswordData::Browser },
        { &VLR_PasswordData::SetURL, &VLR_PasswordData::URL },
        { &VLR_PasswordData::SetUsername, &VLR_PasswordData::Username },
        { &VLR_PasswordData::SetUsernameLabel, &VLR_PasswordData::UsernameLabel },
        { &VLR_PasswordData::SetPassword, &VLR_PasswordData::Password },
        { &VLR_PasswordData::SetPasswordLabel, &VLR_PasswordData::PasswordLabel },
        { &VLR_PasswordData::SetNotes, &VLR_PasswordData::Notes },
    };
    for (const auto& field : kFields) {
        VLR_Document fresh(VLR_DocumentReadDecrypted);
        VLR_PasswordData* const edited = add(fresh, "U", "");
        const uint32_t modified = edited->ModifiedDate();
        (edited->*field.set)(VLR_String()); // equal: nothing at all
        EXPECT_EQ(str(edited->UUID()), "U");
        EXPECT_EQ(edited->Dirty() + edited->ChangedSinceSync(), 0);
        (edited->*field.set)(S("new"));
        EXPECT_EQ(str((edited->*field.get)()), "new");
        EXPECT_EQ(edited->Dirty(), 1);
        EXPECT_EQ(edited->ChangedSinceSync(), 1);
        EXPECT_EQ(edited->UUID().Length(), 36u);
        EXPECT_EQ(str(edited->OriginalUUID()), "U");
        const std::string shuffled = str(edited->UUID());
        (edited->*field.set)(S("newer")); // shuffles no more
        EXPECT_EQ(str(edited->UUID()), shuffled);
        EXPECT_EQ(deletions(fresh), "U");
        EXPECT_EQ(edited->ModifiedDate(), modified);
    }
}

TEST_F(Record, WithoutIdentityItGetsNone)
{
    record->SetUUID(VLR_String());
    record->SetTitle(S("new"));
    EXPECT_TRUE(record->UUID().IsEmpty());
    EXPECT_EQ(record->ChangedSinceSync(), 1);
    EXPECT_EQ(deletions(document), "");
}

TEST_F(Record, FlagsHaveTheirEffectsAlone)
{
    record->SetDirty(0);
    EXPECT_EQ(record->ChangedSinceSync(), 1); // a save is a change
    record->SetChangedSinceSync(0);
    record->SetLastUsedDate(5);
    record->SetLastUsedDateToNow(); // this host doesn't track it
    record->SetCollapsed(0xFF);
    EXPECT_EQ(record->LastUsedDate(), 5u);
    EXPECT_EQ(record->Collapsed(), -1);
    EXPECT_EQ(record->ChangedSinceSync(), 0);
    record->SetModifiedDate(6);
    EXPECT_EQ(record->ChangedSinceSync(), 1);
    EXPECT_EQ(record->Dirty(), 0);
    EXPECT_EQ(str(record->UUID()), "U");
    EXPECT_EQ(str(record->Description()), "uuid: U");
}

TEST_F(Record, ComparesByField)
{
    VLR_PasswordData* const other = add(document, "V", "T");
    record->SetURL(S("a"));
    other->SetURL(S("B"));
    record->SetModifiedDate(0xFFFFFFFF);
    other->SetModifiedDate(1);
    record->SetLastUsedDate(0x80000000);
    other->SetLastUsedDate(0);
    const struct {
        int32_t field;
        bool descending;
        int32_t order;
    } kCases[] = { { 1, false, 0 }, { 2, false, -1 }, { 2, true, 1 }, { 3, false, 0 }, { 4, true, 0 }, { 5, false, 0 },
        { 6, false, -2 }, { 6, true, 2 }, { 7, false, INT32_MIN }, { 7, true, INT32_MIN } };
    for (const auto& c : kCases)
        EXPECT_EQ(record->Compare(*other, static_cast<VLR_SortField>(c.field), c.descending), c.order) << c.field;
    for (const int32_t field : { 0, 8 })
        EXPECT_EQ(failure([&] { record->Compare(*other, static_cast<VLR_SortField>(field), false); }),
            "unknown sort field id");
    document.SetSortParams(VLR_SortURL, /*descending=*/true);
    EXPECT_EQ(static_cast<const VLR_Object*>(record)->Compare(other), 1);
    EXPECT_TRUE(VLR_PasswordDataComparator().IsLessThan(other, record));
    EXPECT_FALSE(VLR_PasswordDataTitleComparator().IsEqual(record, other)); // exact
    EXPECT_EQ(document.sortParams, 0x80000002u);
}

TEST_F(Record, EncipheredRecordsCompareByIdentityAndCategory)
{
    VLR_PasswordData* const a = add(closed, "U");
    VLR_PasswordData* const b = add(closed, "U");
    b->SetUUID(VLR_String());
    b->SetCategory(S("c"));
    b->SetUUID(S("U"));
    EXPECT_EQ(a->Compare(*b, static_cast<VLR_SortField>(99), false), -1);
    EXPECT_EQ(a->Compare(*b, VLR_SortTitle, true), 1);
    b->SetUUID(S("T"));
    EXPECT_EQ(a->Compare(*b, VLR_SortTitle, false), 1);
    EXPECT_EQ(failure([&] { a->Compare(*record, VLR_SortTitle, false); }),
        "can't compare encrypted with unencrypted data.");
    EXPECT_EQ(failure([&] { record->Compare(*a, VLR_SortTitle, false); }), "");
}

TEST_F(Record, DuplicatesMatchInAllTexts)
{
    VLR_PasswordData* const other = add(document, "V");
    other->SetModifiedDate(1);
    EXPECT_TRUE(record->IsDuplicate(*other, /*verbose=*/true));
    EXPECT_EQ(log, std::vector<std::string> { "Candidate duplicate:  t" });
    other->SetURL(S("u"));
    log.clear();
    EXPECT_FALSE(record->IsDuplicate(*other, /*verbose=*/true));
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(log[1], "field differs:  URL_");
    EXPECT_EQ(log[2].rfind("all fields match.", 0), 0u);
    log.clear();
    other->SetTitle(S("T"));
    EXPECT_FALSE(record->IsDuplicate(*other, /*verbose=*/true));
    EXPECT_FALSE(record->IsDuplicate(*other, /*verbose=*/false));
    EXPECT_TRUE(log.empty());
}

TEST_F(Record, SearchLooksAtStoredTexts)
{
    record->SetPassword(S("x[:Mail:]"));
    EXPECT_TRUE(record->Contains(S("[:MAIL")));
    EXPECT_FALSE(record->Contains(S("mail2")));
    EXPECT_FALSE(record->Contains(VLR_String()));
    record->SetNotes(S("\xC3\x89t\xC3\xA9"));
    EXPECT_TRUE(record->Contains(S("\xC3\xA9T")));
}

// Encoding

TEST_F(Record, AnEmptyRecordIsItsBytes)
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

TEST_F(Record, PlainPartIsInOrder)
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
    const std::string before = hex(out);
    reread.ReadDataWithFish(out, fish);
    EXPECT_EQ(hex(out), before);
    EXPECT_TRUE(reread.IsDuplicate(filled, false));
    EXPECT_EQ(reread.ModifiedDate(), 1u);
    EXPECT_EQ(reread.LastUsedDate(), 0u);
    EXPECT_EQ(reread.Checksum(), filled.Checksum());
    EXPECT_EQ(reread.OriginalChecksum(), filled.Checksum());
}

TEST_F(Record, ADateFarAheadCountsAsNone)
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

TEST_F(Record, AnEncipheredRecordKeepsItsBodyAndChecksum)
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

TEST_F(Record, AReadThatFailsKeepsWhatCameBefore)
{
    record->SetCategory(S("cat"));
    VLR_MemoryBlock out;
    record->WriteDataWithFish(out, document.DocFish());
    const std::string whole = str(out);
    for (uint32_t length = 0; length < out.Length(); ++length) {
        VLR_MemoryBlock cut = S(whole.substr(0, length));
        VLR_PasswordData reread(&document);
        EXPECT_NE(failure([&] { reread.ReadDataWithFish(cut, document.DocFish()); }), "");
        EXPECT_EQ(reread.UUID().IsEmpty(), length < 4 + 4 + 36);
        EXPECT_TRUE(reread.Title().IsEmpty());
    }
    VLR_PasswordData keyless(&document);
    EXPECT_EQ(failure([&] { keyless.ReadDataWithFish(out, VLR_BlowFish()); }), "not ready to decrypt handle");
    EXPECT_EQ(str(keyless.Category()), "cat");
}

TEST_F(Record, TransferFormIsItsBytes)
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
    VLR_MemoryBlock other = S("\2nothing of ours");
    copy->Deserialize(&other);
    EXPECT_EQ(str(copy->Title()), "t");
    VLR_MemoryBlock cut = S(str(*form).substr(0, 8));
    EXPECT_EQ(failure([&] { copy->Deserialize(&cut); }), "GetBytes out of range.");
}

TEST_F(Record, TheOldestRecordsHaveNoClearPart)
{
    VLR_MemoryBlock block = S(std::string("\1t\1\x8E\0\1p\xB6\x75\x79\x01", 11)); // 3061152001 since 1904
    document.DocFish().EncryptMemoryBlock(block);
    VLR_PasswordData old(&document);
    old.ReadDataWithFishVersion1(block, document.DocFish());
    EXPECT_EQ(str(old.URL()), "\xC3\xA9");
    EXPECT_EQ(str(old.Password()), "p");
    EXPECT_EQ(old.ModifiedDate(), 1u);
    EXPECT_EQ(old.UUID().Length(), 36u);
}

} // namespace
