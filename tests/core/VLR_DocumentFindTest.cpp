#include "CoreFixture.h"

#include <algorithm>
#include <random>

namespace {

class Find : public CoreTest {
protected:
    static std::string titles(const VLR_Array<VLR_PasswordData>& records)
    {
        std::string result;
        for (uint32_t i = 0; i < records.Count(); ++i)
            result += (i > 0 ? " " : "") + str(records.ObjectAtIndex(i)->Title());
        return result;
    }

    static std::string names(const VLR_Categories& categories)
    {
        return str(categories.names.ComponentsJoinedByString(S("|")));
    }

    VLR_PasswordData* addWith(const std::string& title, const std::string& category)
    {
        VLR_PasswordData* const record = add(document, title, title);
        record->SetCategory(S(category));
        return record;
    }
};

TEST_F(Find, FillsTheViewableList)
{
    addWith("bank", "Work")->SetNotes(S("Caf\u00E9 au lait"));
    addWith("mail", "work");
    addWith("shop", "Home")->SetPassword(S("[:mail:]"));
    document.viewableList.RemoveAll();

    const struct {
        uint32_t kind;
        const char* text;
        bool add;
        const char* viewable;
    } kSteps[] = {
        { VLR_SearchContains, "WORK", false, "bank mail" }, // caseless, in every text
        { VLR_SearchCategory, "work", true, "bank mail mail" }, // exact, and nothing stops a second one
        { 7, "shop", false, "bank mail mail" }, // no find at all
        { VLR_SearchContains, "", false, "" },
        { VLR_SearchContains, "CAFE\u0301", false, "bank" }, // canonically equivalent
        { VLR_SearchContains, "cafe", false, "" }, // no whole character
        { VLR_SearchContains, "mail", false, "mail shop" }, // inside references and passwords too
        { VLR_SearchContains, "mail", true, "mail shop mail shop" },
        { VLR_SearchAll, "left out", true, "bank mail shop" },
    };
    for (const auto& step : kSteps) {
        VLR_Search search;
        search.searchKind = step.kind;
        search.searchText = S(step.text);
        search.addToResults = step.add;
        const uint32_t before = document.search.searchKind;
        document.FindParams(search);
        EXPECT_EQ(titles(document.viewableList), step.viewable) << step.text;
        EXPECT_EQ(document.search.searchKind, step.kind == 7 ? before : step.kind);
        const bool keepsText = step.kind == VLR_SearchContains || step.kind == VLR_SearchCategory;
        if (keepsText) {
            EXPECT_EQ(str(document.search.searchText), step.text);
            EXPECT_EQ(document.search.addToResults, step.add);
        }
    }
    EXPECT_EQ(str(document.search.searchText), "");
    EXPECT_FALSE(document.search.addToResults);
    document.FindContains(S("shop"), false);
    document.FindParams(document.search); // the find's own text
    EXPECT_EQ(titles(document.viewableList), "shop");
}

TEST_F(Find, ATitleIsFoundAsTheFirstOfItsNameAfterAnyChange)
{
    for (int i = 0; i < 20; ++i)
        add(document, "U" + std::to_string(i), "t" + std::to_string(i % 10));
    const auto walk = [&](const std::string& title) -> VLR_PasswordData* {
        for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
            if (str(document.recordList.ObjectAtIndex(i)->Title()) == title)
                return document.recordList.ObjectAtIndex(i);
        }
        return nullptr;
    };
    std::mt19937 random(1);
    for (int step = 0; step < 2000; ++step) {
        const auto at = static_cast<uint32_t>(random() % document.recordList.Count());
        VLR_PasswordData& record = *document.recordList.ObjectAtIndex(at);
        switch (random() % 40) { // mostly questions, so that the index comes into use
        case 0: record.SetTitle(S("t" + std::to_string(random() % 12))); break;
        case 1: record.CopyContentsFrom(*document.recordList.ObjectAtIndex(0)); break;
        case 2: document.recordList.SetObjectAtIndex(document.recordList.ObjectAtIndex(0), at); break;
        case 3: document.DuplicatePasswordData(&record); break;
        case 4:
            if (document.recordList.Count() > 5)
                document.RemovePasswordData(&record);
            break;
        case 5: document.SetSortParams(VLR_SortUsername, true), document.SortRecords(); break;
        case 6: {
            VLR_MemoryBlock block = *record.Serialize();
            document.recordList.ObjectAtIndex(0)->Deserialize(&block);
            break;
        }
        default: break;
        }
        const std::string title = "t" + std::to_string(random() % 12);
        ASSERT_EQ(document.FindTitle(S(title)), walk(title)) << step;
    }
    EXPECT_EQ(document.FindTitle(S("T1")), nullptr); // exact
}

TEST_F(Find, SortsAsTheComparisonsSay)
{
    std::mt19937 random(2);
    static const char* const kPieces[] = { "a", "A", "b", "B", "\u00E9", "e\u0301", "\u00DF", "ss", "Z", "\xFF", "",
        "\U0001F600", "abcdefgh", "abcdefgh", "\u212A", "k" };
    const auto text = [&] {
        std::string result;
        for (int n = static_cast<int>(random() % 4); n > 0; --n)
            result += kPieces[random() % std::size(kPieces)];
        return S(result);
    };
    VLR_Document other(VLR_DocumentReadDecrypted);
    other.SetSortParams(VLR_SortURL, true);
    for (int i = 0; i < 120; ++i) {
        VLR_PasswordData* const record = add(document, "U" + std::to_string(i));
        record->SetTitle(text());
        record->SetURL(text());
        record->SetUsername(text());
        record->SetCategory(text());
        record->SetPassword(text());
        record->SetModifiedDate(static_cast<uint32_t>(random() % 4));
        record->SetLastUsedDate(static_cast<uint32_t>(random() % 4));
    }
    const auto literally = [](VLR_Array<VLR_PasswordData> list) {
        list.Sort(VLR_PasswordDataComparator());
        return uuidsOf(list);
    };
    for (const bool withForeign : { false, true }) {
        if (withForeign)
            document.recordList.ObjectAtIndex(3)->SetDocument(&other); // shared since a merge
        for (int field = VLR_SortTitle; field <= VLR_SortLastUsedDate; ++field) {
            for (const bool descending : { false, true }) {
                document.FindContains(S("a"), false);
                document.FindContains(S("b"), true);
                VLR_Array<VLR_PasswordData> expected[] = { document.viewableList, document.recordList };
                document.SetSortParams(VLR_SortTitle, descending);
                if (field != VLR_SortTitle) {
                    for (auto& list : expected)
                        list.Sort(VLR_PasswordDataComparator());
                }
                document.SetSortParams(static_cast<VLR_SortField>(field), descending);
                const std::string viewable = literally(expected[0]), all = literally(expected[1]);
                document.SortRecords();
                ASSERT_EQ(uuidsOf(document.viewableList), viewable) << field << descending;
                ASSERT_EQ(uuidsOf(document.recordList), all) << field << descending;
            }
        }
    }
    document.recordList.ObjectAtIndex(3)->SetDocument(&document);
    for (uint32_t i = 0; i < document.recordList.Count(); ++i)
        document.recordList.ObjectAtIndex(i)->SetDocument(&document);
}

TEST_F(Find, SortOrderIsOneWordAndKeepsWhatItWas)
{
    VLR_SortField field {};
    bool descending = false;
    document.SetSortParams(VLR_SortModifiedDate, true);
    EXPECT_EQ(document.sortParams, 0x80000006u);
    document.SortParams(field, descending);
    EXPECT_EQ(field, VLR_SortModifiedDate);
    EXPECT_TRUE(descending);

    for (const char* const title : { "b", "c", "a" })
        add(document, title, title);
    document.viewableList.RemoveAll();
    document.SortRecords(); // equal dates: by title, in the same direction
    EXPECT_EQ(titles(document.recordList), "c b a");
    document.sortParams = 9;
    EXPECT_EQ(failure([&] { document.SortRecords(); }), "unknown sort field id");
    EXPECT_EQ(document.sortParams, 9u);
    EXPECT_EQ(titles(document.recordList), "a b c");

    VLR_Document one(VLR_DocumentReadDecrypted);
    add(one, "U");
    one.viewableList.RemoveAll();
    one.sortParams = 9;
    one.SortRecords(); // nothing to compare

    for (const char* const uuid : { "b", "c", "a" })
        add(closed, uuid, "");
    closed.SetSortParams(VLR_SortURL, true);
    closed.SortRecords(); // by identity, whatever the field
    EXPECT_EQ(uuids(closed), "c b a");
    closed.recordList.SetObjectAtIndex(document.recordList.ObjectAtIndex(0), 0);
    EXPECT_EQ(failure([&] { closed.SortRecords(); }), "can't compare encrypted with unencrypted data.");
    EXPECT_EQ(uuids(closed), "a b a");
}

TEST_F(Find, CategoriesAreHarvestedAndRenamed)
{
    for (const char* const category : { "b", "", "A", "a", "B", "A", "\u00C9t\u00E9", "E\u0301t\u00E9" })
        addWith("t", category);
    document.categories.Harvest();
    EXPECT_EQ(names(document.categories), "A|a|b|B|\u00C9t\u00E9"); // ties in the order of the records

    VLR_PasswordData& renamed = *document.recordList.ObjectAtIndex(2);
    const std::string before = uuids(document);
    const std::string deleted = deletions(document);
    renamed.SetDirty(0);
    renamed.SetChangedSinceSync(0);
    document.categories.RenameCategory(renamed.Category(), S("Z")); // its own text as argument
    document.categories.RenameCategory(S("none"), S("Y"));
    EXPECT_EQ(str(document.recordList.ObjectAtIndex(5)->Category()), "Z");
    EXPECT_EQ(uuids(document), before);
    EXPECT_EQ(deletions(document), deleted);
    EXPECT_EQ(renamed.Dirty() + renamed.ChangedSinceSync(), 0);
    EXPECT_EQ(names(document.categories), "A|a|b|B|\u00C9t\u00E9");
    document.categories.Harvest();
    EXPECT_EQ(names(document.categories), "a|b|B|\u00C9t\u00E9|Z");
    document.ResetDocumentContents();
    document.categories.Harvest();
    EXPECT_TRUE(document.categories.names.IsEmpty());
}

TEST_F(Find, TextTurnsWhiteOnADarkBackground)
{
    const struct {
        VLR_Color color;
        bool white;
    } kCases[] = {
        { document.backgroundColor, false },
        { { 0, 0, 0 }, true },
        { { 19660, 19660, 19660 }, true },
        { { 19661, 19661, 19661 }, false },
        { { 58981, 0, 0 }, true },
        { { 0, 0, 58982 }, false },
    };
    for (const auto& c : kCases) {
        document.backgroundColor = c.color;
        EXPECT_EQ(document.RenderTextWhite(), c.white) << c.color.red << " " << c.color.blue;
    }
}

TEST_F(Find, DuplicatesAreLatchedAndRemoved)
{
    const auto addAs = [&](const std::string& uuid, const std::string& title, const std::string& url) {
        VLR_PasswordData* const record = add(document, uuid, title);
        record->SetURL(S(url));
        record->SetUUID(S(uuid));
    };
    EXPECT_EQ(document.LatchDuplicates(false), 0u);
    addAs("1", "x", "u");
    addAs("2", "X", "u"); // compares equal, and is none
    addAs("3", "x", "v");
    addAs("4", "x", "u");
    addAs("5", "y", "");
    addAs("6", "x", "u");
    document.SetSortParams(VLR_SortURL, true);
    document.select.SelectAll();
    document.deletionList.RemoveAll();
    document.AddDeletedUUID(S("older"), 1);
    log.clear();
    EXPECT_EQ(document.LatchDuplicates(true), 1u); // 2, equal but for case, parts 1 from 4 and 6
    EXPECT_EQ(log.size(), 4u); // a line for 4 and 6, three for 6 and 3
    EXPECT_EQ(document.sortParams, static_cast<uint32_t>(VLR_SortTitle));
    EXPECT_EQ(document.select.Selection().Count(), 0u);
    EXPECT_EQ(document.viewableList.Count(), 6u);

    document.recordList.ObjectAtIndex(1)->SetTitle(S("z"));
    EXPECT_EQ(document.LatchDuplicates(false), 2u);
    EXPECT_EQ(uuidsOf(document.select.Latch()), "4 6");
    EXPECT_EQ(document.RemoveDuplicates(), 2u);
    EXPECT_EQ(titles(document.recordList), "x x y z");
    EXPECT_EQ(titles(document.viewableList), "x x y z");
    EXPECT_EQ(document.deletionList.Count(), 0u); // older entries as well
    EXPECT_TRUE(document.select.Latch().IsEmpty());
    document.AddDeletedUUID(S("older"), 1);
    EXPECT_EQ(document.RemoveDuplicates(), 0u);
    EXPECT_EQ(document.deletionList.Count(), 0u);
}

} // namespace
