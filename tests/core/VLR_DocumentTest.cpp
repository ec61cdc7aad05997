#include "CoreFixture.h"
#include "ScriptedHost.h"
#include "VLR_System.h"

// Bytes stand in groups, one for each field.
// clang-format off

namespace {

/// A vault with the password "right", and a host that answers as told.
class Document : protected FreshHost, public CoreTest {
protected:
    Document()
    {
        VLR_Document writer(VLR_DocumentReadDecrypted);
        writer.ChangePassword(S("right"));
        add(writer, "U");
        writer.ToBlock(file);
    }
    ~Document() override { VLR_System::SetExpressOpenPassword(nullptr); }

    /// Reads with the whole try sequence; what was raised.
    std::string read(VLR_Document& into, VLR_AskPasswordReadStyle style = VLR_AskPasswordPrompt)
    {
        VLR_MemoryStream stream(file);
        into.SetStream(&stream);
        const std::string raised = failure([&] { into.ReadVersion4FileContents(style); });
        into.SetStream(nullptr);
        return raised;
    }

    VLR_MemoryBlock file;
    VLR_Document reader { VLR_DocumentReadDecrypted };
};

TEST_F(Document, AsksInItsOrder)
{
    using Answers = std::deque<std::optional<std::string>>;
    const struct {
        const char* name;
        int useKeychain;
        std::optional<std::string> keychain;
        std::optional<std::string> express;
        Answers dialog;
        bool half;
        std::string raised, asked;
        int beeps;
    } kCases[] = {
        { "keychain unasked", 1, "right", {}, {}, false, "", "keychain ", 0 },
        { "keychain proposed", 0, "right", {}, { "right" }, false, "", "keychain dialog(right,prefilled) ", 0 },
        { "keychain wrong", 1, "wrong", {}, { "right" }, false, "", "keychain dialog(wrong,prefilled) ", 0 },
        { "express", 0, {}, "right", {}, false, "", "keychain ", 0 },
        { "express wrong, then dialog", 0, {}, "wrong", { "right" }, false, "", "keychain dialog(wrong) ", 0 },
        { "three wrong answers", 0, {}, {}, { "a", "b", "c", "right" }, false, "code 6",
            "keychain dialog() dialog(a) dialog(b) ", 3 },
        { "cancel at once", 0, {}, {}, { std::nullopt }, false, "code 8", "keychain dialog() ", 0 },
        { "cancel the second", 0, {}, {}, { "a", std::nullopt }, false, "code 8", "keychain dialog() dialog(a) ", 1 },
        { "second answer right", 0, "k", {}, { "a", "right" }, false, "", "keychain dialog(k,prefilled) dialog(a) ", 1 },
        { "half read, nothing at hand", 1, "right", {}, { "right" }, true, "code 6", "", 0 },
        { "half read, express", 1, {}, "right", {}, true, "", "", 0 },
    };
    for (const auto& c : kCases) {
        host = ScriptedHost();
        host.preferences[VLRPref_UseKeychainPassword] = c.useKeychain;
        host.keychain = c.keychain;
        host.dialog = c.dialog;
        VLR_System::SetExpressOpenPassword(nullptr);
        if (c.express)
            VLR_System::SetExpressOpenPassword(S(*c.express));
        VLR_Document into(VLR_DocumentReadDecrypted);
        VLR_MemoryStream stream(file);
        into.SetStream(&stream);
        std::string raised;
        if (c.half) {
            into.SetHalfReadFlag(VLR_HalfReadOn);
            EXPECT_EQ(into.ReadVersion4FileContents(VLR_AskPasswordPrompt), 0u);
            EXPECT_EQ(into.recordList.Count(), 0u);
            raised = failure([&] { into.ReadToCompletion(); });
        } else {
            raised = failure([&] { into.ReadVersion4FileContents(VLR_AskPasswordPrompt); });
        }
        EXPECT_EQ(raised, c.raised) << c.name;
        EXPECT_EQ(host.asked, c.asked) << c.name;
        EXPECT_EQ(uuids(into), c.raised.empty() ? "U" : "") << c.name;
        EXPECT_EQ(str(into.Password()), c.raised.empty() ? "right" : "") << c.name;
        EXPECT_EQ(VLR_System::ExpressOpenPassword(), nullptr) << c.name; // used up
    }
}

TEST_F(Document, WithItsOwnPasswordItAsksNobody)
{
    EXPECT_EQ(read(reader, VLR_AskPasswordUseDocumentPassword), "code 6");
    reader.ChangePassword(S("right"));
    EXPECT_EQ(read(reader, VLR_AskPasswordUseDocumentPassword), "");
    EXPECT_EQ(read(closed), ""); // keeps its records enciphered
    EXPECT_EQ(host.asked, "");
    EXPECT_EQ(closed.referenceBuffer.Length(), 256u);
    EXPECT_TRUE(reader.referenceBuffer.IsEmpty());
}

TEST_F(Document, PasswordsAreComparedAndChanged)
{
    EXPECT_TRUE(document.ConfirmPassword(S("open sesame")));
    EXPECT_FALSE(document.ConfirmPassword(S("Open sesame")));
    EXPECT_TRUE(document.PasswordChangedSinceOpen());
    document.SetPasswordChangedSinceOpen(false);
    EXPECT_FALSE(document.PasswordChangedSinceOpen());
    document.ChangePassword(document.Password()); // by itself
    EXPECT_EQ(str(document.Password()), "open sesame");
}

TEST_F(Document, ReadsEndAsTheirHalvesSay)
{
    VLR_Document fresh(VLR_DocumentReadDecrypted);
    EXPECT_EQ(failure([&] { fresh.ReadToCompletion(); }), "code 7");
    EXPECT_EQ(failure([&] { fresh.ReadVersion4FileContents(VLR_AskPasswordPrompt); }), "nil stream");
    EXPECT_EQ(failure([&] { fresh.WriteVersion4Contents(); }), "nil stream");
    EXPECT_EQ(failure([&] { fresh.WriteDocumentPreferences(); }), "nil stream");
    EXPECT_EQ(failure([&] { fresh.ReadDocumentPreferences(); }), "nil stream");
    reader.ChangePassword(S("right"));
    reader.SetHalfReadFlag(VLR_HalfReadOn);
    EXPECT_EQ(reader.FromBlock(file), 0u);
    reader.SetHalfReadFlag(VLR_HalfReadOff);
    EXPECT_EQ(failure([&] { reader.ReadToCompletion(); }), "nil stream"); // the block's stream is gone
}

TEST_F(Document, RecordsComeAndGo)
{
    VLR_PasswordData* const record = add(document, "U");
    EXPECT_EQ(document.viewableList.Count(), 1u);
    record->SetCategory(S("c"));
    record->SetModifiedDate(7);
    document.DuplicatePasswordData(record);
    VLR_PasswordData* const twin = document.recordList.ObjectAtIndex(1);
    EXPECT_TRUE(twin->IsDuplicate(*record, false));
    EXPECT_EQ(twin->ModifiedDate(), 7u);
    EXPECT_EQ(twin->Dirty(), 0);
    EXPECT_EQ(twin->UUID().Length(), 36u);
    const std::string edited = str(record->UUID());
    document.RemovePasswordData(record);
    EXPECT_EQ(deletions(document), "U " + edited); // the shuffle's and the removal's
    EXPECT_EQ(document.viewableList.Count(), 1u);

    VLR_PasswordData stranger(&document);
    document.RemovePasswordData(&stranger); // in no list; nothing is deleted
    EXPECT_EQ(document.recordList.Count(), 1u);

    add(closed, "V");
    closed.RemovePasswordData(closed.recordList.ObjectAtIndex(0)); // without a key nothing is listed
    EXPECT_EQ(deletions(closed), "");
    document.ResetSyncInfo();
    EXPECT_EQ(deletions(document), "");
    document.ResetDocumentContents();
    EXPECT_EQ(document.recordList.Count() + document.viewableList.Count(), 0u);
}

TEST_F(Document, ANewRecordsFirstEditListsItsFirstIdentity)
{
    auto* const record = new VLR_PasswordData(&closed);
    document.AddNewPasswordData(record);
    EXPECT_EQ(record->Document(), &document);
    const std::string first = str(record->UUID());
    record->SetTitle(S("t"));
    EXPECT_EQ(deletions(document), first);
    EXPECT_EQ(document.deletionList.ObjectAtIndex(0)->checksum, 0);
}

TEST_F(Document, IdentitiesAreGivenOnce)
{
    document.SetUniqueDocumentID();
    const std::string given = str(document.UniqueDocumentID());
    EXPECT_EQ(given.size(), 36u);
    document.SetUniqueDocumentID();
    EXPECT_EQ(str(document.UniqueDocumentID()), given);
    VLR_PasswordData* const record = add(document, "U");
    record->SetDirty(1);
    document.partnerDocumentID = S("p");
    document.FileDuplicated();
    EXPECT_NE(str(document.UniqueDocumentID()), given);
    EXPECT_EQ(record->ChangedSinceSync(), 0);
    EXPECT_EQ(record->Dirty(), 1);
    EXPECT_EQ(str(document.PartnerDocumentID()), "p");
}

TEST_F(Document, DescribesItself)
{
    document.uniqueDocumentID = S("D");
    add(document, "U")->SetChangedSinceSync(200);
    document.AddDeletedUUID(S("X"), 0xAB);
    EXPECT_EQ(str(document.Description()),
        "\n\ndoc id: D\nrecord ids and original checksums:\nU -> 00000000 changedSinceSync: 200\n\ndeletions: \nX -> "
        "000000ab\n");
}

TEST_F(Document, TheHostHearsOfRecords)
{
    host = ScriptedHost(); // which has heard of those of the fixture
    host.preferences[VLRPref_TrackLastUsedDate] = 1;
    {
        VLR_PasswordData record(&document);
        record.SetLastUsedDate(1);
        record.SetLastUsedDateToNow();
        EXPECT_GT(record.LastUsedDate(), 1u);
        EXPECT_EQ(record.ChangedSinceSync(), 0);
    }
    EXPECT_EQ(host.asked, "message 0 document ");
    EXPECT_EQ(host.recordsMade, 1);
    EXPECT_EQ(host.recordsGone, 1);
}

// Preferences

TEST_F(Document, PreferencesAreTheirBytes)
{
    VLR_MemoryBlock block;
    VLR_MemoryStream stream(block);
    document.openDate = 0x01020304;
    document.previousOpenDate = 99;
    document.sortParams = 0x80000006;
    document.documentRect = { 1, 2, 3, 4 };
    document.documentFlagA = -1;
    document.documentFlagB = 2;
    document.documentFlagC = 3;
    document.SetStream(&stream);
    document.WriteDocumentPreferences();
    EXPECT_EQ(hex(block),
        "00000022" "00000004" "01020304" "4fb13a5b" "ff" "80000006" "0001000200030004" "02" "ef60f3dbfe47" "01" "03");
    const uint32_t ownDate = reader.openDate;
    stream.WriteUInt8(0); // something follows in a file
    reader.SetStream(&stream);
    reader.ReadDocumentPreferences();
    EXPECT_EQ(reader.previousOpenDate, 0x01020304u);
    EXPECT_EQ(reader.openDate, ownDate);
    EXPECT_EQ(reader.sortParams, 0x80000006u);
    EXPECT_EQ(reader.documentRect, document.documentRect);
    EXPECT_EQ(reader.documentFlagA, -1);
    EXPECT_EQ(reader.documentFlagC, 3);
}

TEST_F(Document, APreferenceOverridesTheFlag)
{
    const std::string flagIs0 = std::string("\0\0\0\x22\0\0\0\4", 8) + std::string(30, '\0');
    const std::string flagIs1 = std::string("\0\0\0\x22\0\0\0\4", 8) + std::string(28, '\0') + "\1" + std::string(1, '\0');
    const struct {
        int preference;
        bool fresh;
        int read0, read1;
    } kCases[] = { { 0, true, 0, 1 }, { 1, true, 1, 1 }, { 2, false, 0, 0 }, { 3, true, 0, 1 } };
    for (const auto& c : kCases) {
        host.preferences[VLRPref_DocumentFlagOverride] = c.preference;
        VLR_Document into(VLR_DocumentReadDecrypted);
        EXPECT_EQ(into.documentFlagOverridable, c.fresh);
        for (const bool one : { false, true }) {
            VLR_MemoryBlock block = S(one ? flagIs1 : flagIs0);
            VLR_MemoryStream stream(block);
            into.SetStream(&stream);
            into.ReadDocumentPreferences();
            EXPECT_EQ(into.documentFlagOverridable, one ? c.read1 : c.read0) << c.preference;
        }
    }
}

} // namespace
