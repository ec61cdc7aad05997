#include "CoreFixture.h"
#include "VLR_System.h"

#include <algorithm>
#include <random>
#include <sstream>

namespace {

using Records = std::vector<VLR_PasswordData*>;

/// Shows nail, Apple, lamp, pear, apple in rows 0 to 4, whose titles sort as rows 1 4 2 0 3; "kiwi" is hidden.
class Select : public CoreTest {
protected:
    Select()
    {
        for (const char* title : { "nail", "Apple", "lamp", "pear", "apple", "kiwi" })
            add(document, title, title);
        show(5);
        select.RebuildTypeAheadIndex();
        document.recordList.ObjectAtIndex(5)->SetSelected(0);
    }

    void show(uint32_t count) { document.viewableList = VLR_Array<VLR_PasswordData>(document.recordList, 0, count); }

    /// Selects the records of these rows; "h" is the hidden one.
    void choose(const std::string& rows)
    {
        VLR_Array<VLR_PasswordData> chosen;
        for (const char row : rows) {
            const uint32_t i = row == 'h' ? 5 : static_cast<uint32_t>(row - '0');
            if (row != ',')
                chosen.AppendObject(document.recordList.ObjectAtIndex(i));
        }
        select.SetSelection(chosen);
    }

    static std::string flagged(const VLR_Array<VLR_PasswordData>& records)
    {
        std::string rows;
        for (uint32_t i = 0; i < records.Count(); ++i) {
            if (records.ObjectAtIndex(i)->Selected() != 0)
                rows += (rows.empty() ? "" : ",") + std::to_string(i);
        }
        return rows;
    }

    std::string titles(const VLR_Array<VLR_PasswordData>& records) const
    {
        std::string joined;
        for (uint32_t i = 0; i < records.Count(); ++i)
            joined += (i > 0 ? " " : "") + str(records.ObjectAtIndex(i)->Title());
        return joined;
    }

    /// One key, `+n` units after the one before. `tab`, `ign`, `other`, a character, or an arrow handed to
    /// ProcessKeyEvent: `>v`, `>^`; an arrow's own operation: `v`, `^`, `-` for neither. A leading `S` holds shift, a
    /// trailing `a`, `b` allows a Tab, `!` vetoes. `=rows` selects instead.
    std::string press(std::string key)
    {
        if (key[0] == '=') {
            choose(key.substr(1));
            return "=";
        }
        const std::size_t plus = key.find_first_of("+@", 1);
        const int64_t number = plus == std::string::npos ? 1 : std::stoll(key.substr(plus + 1));
        const bool isTime = plus != std::string::npos && key[plus] == '@';
        now = static_cast<uint32_t>(isTime ? number : now + number);
        key.resize(std::min(plus, key.size()));
        VLR_KeyEvent event;
        event.timeStamp = now;
        event.shiftKey = key.size() > 1 && key[0] == 'S';
        if (event.shiftKey)
            key.erase(0, 1);
        event.downArrow = key[0] == 'v' || key == ">v";
        event.upArrow = key[0] == '^' || key == ">^";
        event.downArrowVeto = key.back() == '!';
        event.tabKey = key.substr(0, 3) == "tab";
        event.tabAllowA = event.tabKey && key.find('a', 3) != std::string::npos;
        event.tabAllowB = event.tabKey && key.find('b', 3) != std::string::npos;
        event.ignoreKey = key == "ign";
        event.isUniChar = key.size() == 1;
        event.uniChar = static_cast<uint16_t>(key[0]);
        const bool isArrow = key[0] == 'v' || key[0] == '^' || key[0] == '-';
        bool used = false;
        const std::string raised
            = failure([&] { used = isArrow ? select.ProcessArrowKeyPrivate(event) : select.ProcessKeyEvent(event); });
        const std::string outcome = raised == "Out of range" ? "!" : raised + (used ? "T" : "F");
        return outcome + flagged(document.recordList);
    }

    std::string press(const std::string& start, const std::string& keys)
    {
        choose(start);
        std::istringstream words(keys);
        std::string results;
        for (std::string key; words >> key;)
            results += (results.empty() ? "" : " ") + press(key);
        return results;
    }

    void type(const std::u16string& text, uint32_t time)
    {
        VLR_KeyEvent event;
        event.isUniChar = true;
        event.timeStamp = time;
        for (const char16_t unit : text) {
            event.uniChar = unit;
            EXPECT_TRUE(select.ProcessKeyEvent(event));
        }
    }

    VLR_Select& select = document.select;
    uint32_t now = 1000;
};

struct KeyCase {
    const char* name;
    const char* start; // selected rows
    const char* keys;
    const char* results; // used or not, and the selected records of the whole document, after each key

    friend void PrintTo(const KeyCase& row, std::ostream* out) { *out << row.name; }
};

class SelectKeys : public Select, public ::testing::WithParamInterface<KeyCase> { };

TEST_P(SelectKeys, Select)
{
    EXPECT_EQ(press(GetParam().start, GetParam().keys), GetParam().results);
}

const KeyCase kTabs[] = {
    { "goes round by title, through equal ones", "", "tab tab tab tab tab tab", "T1 T4 T2 T0 T3 T1" },
    { "goes round backward", "", "Stab Stab Stab Stab Stab Stab", "T3 T0 T2 T4 T1 T3" },
    { "from the first selected row", "0,2", "tab", "T3" },
    { "with shift from the last", "0,2", "Stab", "T4" },
    { "needs both permissions or none", "2", "taba tabb tabab tab", "F2 F2 T0 T3" },
    { "backward it needs none", "2", "Staba Stabb", "T4 T1" },
    { "does not see hidden records", "h", "tab", "T1" },
    { "ends typing", "", "l tab p", "T2 T0 T3" },
    { "ends typing though refused", "", "l taba p", "T2 F2 T3" },
};

const KeyCase kTyping[] = {
    { "selects the first title from there on", "", "m", "T0" },
    { "or the last", "1", "z", "T3" },
    { "knows no case, and takes the first of equals", "", "A p P l e s", "T1 T1 T1 T1 T1 T2" },
    { "may leave the typed text behind", "", "l o", "T2 T0" },
    { "goes on for 40 units", "", "l a+40", "T2 T2" },
    { "starts anew after 41", "", "l a+41", "T2 T1" },
    { "starts anew when the clock goes back", "", "l a+-1", "T2 T1" },
    { "goes on over the clock's end", "", "l@4294967290 a@34", "T2 T2" },
    { "ends over the clock's end", "", "l@4294967290 a@35", "T2 T1" },
    { "stays alive with arrows, which are not used", "", "l >v+30 a+30", "T2 F2 T2" },
    { "stays alive with an up arrow", "", "l >^+30 a+30", "T2 F2 T2" },
    { "stays alive with a key of no use", "", "l other+30 a+30", "T2 F2 T2" },
    { "ends with an arrow too late", "", "l >v+41 a", "T2 F2 T1" },
    { "is not kept alive by an ignored key", "", "l ign+30 a+30", "T2 F2 T1" },
    { "is not ended by an ignored key", "", "l@100 ign@141 a@102", "T2 F2 T2" },
    { "forgets the records of its start", "0,3,h", "l", "T2" },
};

const KeyCase kArrows[] = {
    { "down starts on top and stops at the end", "", "v v v v v v", "T0 T1 T2 T3 T4 T4" },
    { "up starts at the end and stops on top", "", "^ ^ ^ ^ ^ ^", "T4 T3 T2 T1 T0 T0" },
    { "a range shrinks as it grew", "1", "Sv Sv S^ Sv", "T1,2 T1,2,3 T1,2 T1,2,3" },
    { "a range turns over at its anchor", "2", "Sv S^ S^ S^ S^", "T2,3 T2 T1,2 T0,1,2 T0,1,2" },
    { "a range stays at the end", "3", "Sv Sv S^", "T3,4 T3,4 T3" },
    { "several go on from the moving end", "1", "Sv Sv S^ v", "T1,2 T1,2,3 T1,2 T3" },
    { "several chosen otherwise, from the old moving end", "2,3", "v =1,4 Sv", "T1 = T1,2" },
    { "one is its own anchor", "1", "v =4 S^", "T2 = T3,4" },
    { "none leaves the old anchor", "2", "v = Sv", "T3 = T0,1,2,3" },
    { "none with shift and up, from the end to the anchor", "1", "v = S^ S^", "T2 = T2,3,4 T2,3" },
    { "hidden records do not count", "h", "v =1,h v", "T0 = T2" },
    { "a veto refuses down, and keeps the new anchor", "3", "v! =0,4 Sv", "F3 = T1,2,3" },
    { "a veto is not for up", "3", "^!", "T2" },
    { "neither arrow selects the row itself", "3", "- S-", "T3 T3" },
    { "neither arrow and no row", "h", "-", "!5" },
    { "typing moves anchor and moving end", "0", "p =0,1 S^", "T3 = T2,3" },
};

INSTANTIATE_TEST_SUITE_P(Tab, SelectKeys, ::testing::ValuesIn(kTabs));
INSTANTIATE_TEST_SUITE_P(Typing, SelectKeys, ::testing::ValuesIn(kTyping));
INSTANTIATE_TEST_SUITE_P(Arrows, SelectKeys, ::testing::ValuesIn(kArrows));

// The lists behind the keys

TEST_F(Select, WithoutAnIndexOnlyTheWayBackIsSafe)
{
    document.viewableList.RemoveAll();
    select.RebuildTypeAheadIndex();
    EXPECT_EQ(press("2", "tab l Stab Stab"), "F2 F2 F2 F2"); // nothing is shown
    EXPECT_EQ(press("2", "v ^ - Sv"), "!2 !2 !2 !"); // a range gives the selection up first
    show(5);
    EXPECT_EQ(press("2", "Stab taba tab l"), "F2 F2 !2 !2");
}

TEST_F(Select, AnOldIndexStillSelects)
{
    show(2); // nail, Apple
    EXPECT_EQ(press("", "l"), "T2"); // not shown any more, so it has no row and is no part of the selection
    EXPECT_EQ(select.SelectedVisibleRow(false), VLR_Select::kNoRow);
    EXPECT_EQ(press("", "l+41 Sv"), "T2 !"); // and no anchor
    EXPECT_EQ(press("", "l+41 v Sv"), "T2 T0 T0,1");
    show(6);
    EXPECT_EQ(press("5", "tab =5 Stab"), "T1 = T3"); // the sixth has no place in it
    select.RebuildTypeAheadIndex();
    EXPECT_EQ(press("5", "tab =5 Stab"), "T2 = T4");
}

TEST_F(Select, AnIndexLeavesListAndSortOrderAlone)
{
    document.sortParams = 0x80000006;
    select.RebuildTypeAheadIndex();
    EXPECT_EQ(titles(document.viewableList), "nail Apple lamp pear apple");
    EXPECT_EQ(document.sortParams, 0x80000006u);
    VLR_PasswordData* const sealed = add(closed, "sealed");
    closed.viewableList = VLR_Array<VLR_PasswordData>(document.recordList, 0, 1);
    closed.viewableList.AppendObject(sealed);
    closed.sortParams = 3;
    EXPECT_EQ(failure([&] { closed.select.RebuildTypeAheadIndex(); }), VLR_PasswordData::kCantCompare);
    EXPECT_EQ(closed.sortParams, 3u);
    closed.viewableList.RemoveAll();
    closed.viewableList.AppendObject(sealed);
    closed.select.RebuildTypeAheadIndex(); // without titles
    VLR_KeyEvent event;
    event.isUniChar = true;
    EXPECT_TRUE(closed.select.ProcessKeyEvent(event));
    EXPECT_NE(sealed->Selected(), 0);
}

TEST_F(Select, HalfACharacterIsTypedLikeAWholeOne)
{
    add(document, "smile", "\xF0\x9F\x98\x80")->SetSelected(0);
    document.FindAll();
    select.RebuildTypeAheadIndex();
    type(u"\xD83D", 1); // selects something
    EXPECT_EQ(select.Selection().Count(), 1u);
    type(u"\xDE00", 2);
    EXPECT_EQ(flagged(document.recordList), "6");
}

TEST_F(Select, TypingFindsWhatAWalkFinds)
{
    const struct {
        const char* text;
        const char16_t* units;
    } kPieces[]
        = { { "a", u"a" }, { "A", u"A" }, { "b", u"b" }, { "k", u"k" }, { "\u212A", u"\u212A" }, { "ss", u"ss" },
              { "\u00DF", u"\u00DF" }, { "\u017F", u"\u017F" }, { "\u00E9", u"\u00E9" }, { "e\u0301", u"e\u0301" },
              { "\u00C9", u"\u00C9" }, { "e", u"e" }, { "z", u"z" }, { "\U0001F600", u"\U0001F600" },
              { "\uFB01", u"\uFB01" }, { " ", u" " }, { "\u0323\u0307", u"\u0323\u0307" }, { "\xFF", nullptr } };
    constexpr int kPieceCount = std::size(kPieces);
    std::mt19937 random(7);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<uint32_t>(n)); };
    const auto caseless = [](const VLR_String& a, const VLR_String& b) {
        return VLR_System::CompareStrings(a, b, VLR_StringComparisonCaseless);
    };
    uint32_t time = 0;
    for (int round = 0; round < 30; ++round) {
        document.ResetDocumentContents();
        for (int i = below(50); i >= 0; --i) {
            std::string title;
            for (int n = below(4); n > 0; --n)
                title += kPieces[below(kPieceCount)].text;
            add(document, std::to_string(i), title);
        }
        select.RebuildTypeAheadIndex();
        Records order;
        for (uint32_t i = 0; i < document.viewableList.Count(); ++i)
            order.push_back(document.viewableList.ObjectAtIndex(i));
        std::stable_sort(order.begin(), order.end(),
            [&](const VLR_PasswordData* a, const VLR_PasswordData* b) { return caseless(a->Title(), b->Title()) < 0; });
        for (int i = 0; i < 60; ++i) {
            if (i == 40) // from here on the index is out of order
                order[order.size() / 2]->SetTitle(S("zz"));
            if (i == 50)
                order[0]->SetTitle(S(kPieces[below(kPieceCount)].text));
            std::string text;
            std::u16string units;
            for (int n = below(3); n >= 0; --n) {
                const auto& piece = kPieces[below(kPieceCount - 1)];
                text += piece.text;
                units += piece.units;
            }
            const VLR_String typed = S(text);
            const auto found = std::find_if(order.begin(), order.end(),
                [&](const VLR_PasswordData* record) { return caseless(record->Title(), typed) >= 0; });
            type(units, time += 41);
            const VLR_Array<VLR_PasswordData> selection = select.Selection();
            ASSERT_EQ(selection.Count(), 1u);
            ASSERT_EQ(selection.ObjectAtIndex(0), found == order.end() ? order.back() : *found) << text;
        }
    }
}

// Selection and latch

TEST_F(Select, SelectsAllAndReadsTheViewable)
{
    select.SelectAll();
    EXPECT_EQ(flagged(document.recordList), "0,1,2,3,4,5");
    EXPECT_EQ(titles(select.Selection()), "nail Apple lamp pear apple");
    select.DeselectAll();
    EXPECT_EQ(flagged(document.recordList), "");
    choose("3,1,h");
    EXPECT_EQ(titles(select.Selection()), "Apple pear");
    EXPECT_EQ(select.SelectedVisibleRow(false), 1u);
    EXPECT_EQ(select.SelectedVisibleRow(true), 3u);
    for (const char* rows : { "", "h" }) {
        choose(rows);
        EXPECT_EQ(select.SelectedVisibleRow(false), VLR_Select::kNoRow);
        EXPECT_EQ(select.SelectedVisibleRow(true), VLR_Select::kNoRow);
    }
    for (uint32_t i = 0; i < 6; ++i)
        EXPECT_EQ(document.recordList.ObjectAtIndex(i)->Dirty(), 0); // a selection is no edit
}

TEST_F(Select, TheLatchTellsWhatIsNew)
{
    select.LatchViewableItems();
    document.DuplicatePasswordData(document.recordList.ObjectAtIndex(0)); // equal, yet another
    choose("1");
    select.SelectNewItemsSinceLatch();
    EXPECT_EQ(flagged(document.recordList), "5,6"); // what was hidden was not latched
    EXPECT_TRUE(select.Latch().IsEmpty());
    select.SelectNewItemsSinceLatch();
    EXPECT_EQ(flagged(document.recordList), "0,1,2,3,4,5,6");
}

TEST_F(Select, TheLatchCarriesASelection)
{
    choose("0,2,h");
    select.LatchSelectedItems(); // without the hidden one
    document.SortRecords();
    select.SelectAll();
    document.RemovePasswordData(select.Latch().ObjectAtIndex(1)); // the latch keeps it
    EXPECT_EQ(titles(select.Latch()), "nail lamp");
    select.SelectLatchedItems();
    EXPECT_EQ(titles(select.Selection()), "nail");
    EXPECT_TRUE(select.Latch().IsEmpty());
    select.SelectLatchedItems();
    EXPECT_EQ(flagged(document.recordList), "");
    select.LatchItem(document.recordList.ObjectAtIndex(0));
    select.LatchItem(document.recordList.ObjectAtIndex(0));
    EXPECT_EQ(select.Latch().Count(), 2u);
    select.ResetLatch();
    EXPECT_TRUE(select.Latch().IsEmpty());
}

} // namespace
