#include "CoreFixture.h"
#include "VLR_System.h"

#include <algorithm>

namespace {

class Record : public CoreTest {
protected:
    VLR_PasswordData* record = add(document, "U");
};

TEST_F(Record, GoesBackWipedWhateverItsGuardsAre)
{
    auto* const storage = reinterpret_cast<unsigned char*>(new VLR_PasswordData(&document));
    unsigned char& guard = storage[sizeof(VLR_PasswordData)];
    guard ^= 1;
    delete reinterpret_cast<VLR_PasswordData*>(storage);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].find("Bad ending guard."), std::string::npos) << log[0];
    EXPECT_EQ(std::count(storage, storage + sizeof(VLR_PasswordData), 0), std::ptrdiff_t { sizeof(VLR_PasswordData) });
    guard ^= 1;
    VLR_System::Free(storage);
}

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
    EXPECT_EQ(
        failure([&] { a->Compare(*record, VLR_SortTitle, false); }), "can't compare encrypted with unencrypted data.");
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

} // namespace
