#include "CoreFixture.h"

namespace {

class References : public CoreTest {
protected:
    struct Record {
        const char *title, *username, *password;
    };

    void fill(const std::vector<Record>& records)
    {
        document.ResetDocumentContents();
        for (const Record& record : records)
            addWith(record.title, record.username, record.password);
    }

    VLR_PasswordData* addWith(const std::string& title, const std::string& username, const std::string& password)
    {
        VLR_PasswordData* const record = add(document, "", title); // without identity, so that none is shuffled
        record->SetUsername(S(username));
        record->SetPassword(S(password));
        record->SetUUID(S(title));
        record->SetDirty(0);
        record->SetChangedSinceSync(0);
        return record;
    }

    VLR_PasswordData& at(uint32_t i) { return *document.recordList.ObjectAtIndex(i); }

    std::string resolved(uint32_t i, bool username = false)
    {
        std::string text;
        const std::string raised = failure([&] { text = str(at(i).ResolvedField(username)); });
        return raised.empty() ? text : raised;
    }
};

TEST_F(References, Resolve)
{
    const std::string cancelled = "code 8";
    const struct {
        const char* name;
        std::vector<Record> records;
        std::string password; // of the first record
    } kCases[] = {
        { "none", { { "a", "", "pw" } }, "pw" },
        { "one", { { "a", "", "<[:b:]>" }, { "b", "", "pw" } }, "<pw>" },
        { "the same twice is one step", { { "a", "", "[:b:]-[:B:]-[:b:]" }, { "b", "", "pw" } }, "pw-pw-pw" },
        { "a chain", { { "a", "", "[:b:]" }, { "b", "", "1[:c:]" }, { "c", "", "2" } }, "12" },
        { "passwords alone", { { "a", "", "[:b:]" }, { "b", "user", "[:c:]" }, { "c", "user", "" } }, "" },
        { "itself", { { "a", "", "[:a:]" } }, cancelled },
        { "a loop", { { "a", "", "[:b:]" }, { "b", "", "[:a:]" } }, cancelled },
        { "two roads to one record",
            { { "a", "", "[:b:][:c:]" }, { "b", "", "[:d:]" }, { "c", "", "[:d:]" }, { "d", "", "pw" } }, cancelled },
        { "two records of one title", { { "b", "", "[:a:]" }, { "a", "", "[:c:]" }, { "c", "", "[:a:]" } }, cancelled },
        { "unknown, and what is behind it", { { "a", "", "[:x:][:b:]" }, { "b", "", "pw" } }, "[:x:][:b:]" },
        { "behind a known one", { { "a", "", "[:b:][:x:]" }, { "b", "", "pw" } }, "pw[:x:]" },
        { "titles match exactly", { { "a", "", "[:B:]" }, { "b", "", "pw" } }, "[:B:]" },
        { "no name", { { "a", "", "[::]" } }, "[::]" },
        { "one mark", { { "a", "", "[:b" }, { "b", "", "pw" } }, "[:b" },
        { "marks out of order", { { "a", "", ":] [:b:]" }, { "b", "", "pw" } }, "tags out of order" },
        { "not ASCII", { { "a", "", "\u00E9[:\u00FC:]\u00E9" }, { "\u00FC", "", "\U0001F600" } },
            "\u00E9\U0001F600\u00E9" },
        { "a value with a mark", { { "a", "", "[:b:]c:]" }, { "b", "", "[:" }, { "c", "", "pw" } }, "pw" },
    };
    for (const auto& c : kCases) {
        fill(c.records);
        EXPECT_EQ(resolved(0), c.password) << c.name;
        EXPECT_EQ(str(at(0).Password()), c.records[0].password) << c.name;
    }
    fill({ { "a", "[:b:]", "" }, { "b", "user", "pw" } });
    EXPECT_EQ(resolved(0, /*username=*/true), "user");
}

TEST_F(References, GoOnBehindTheRecordsVisited)
{
    fill({ { "a", "", "[:b:]" }, { "b", "", "pw" } });
    VLR_Array<VLR_PasswordData> visited;
    EXPECT_EQ(str(at(0).ResolveField(false, visited)), "pw");
    EXPECT_EQ(uuidsOf(visited), "a b");
    EXPECT_EQ(failure([&] { at(1).ResolveField(false, visited); }), "code 8");
    VLR_PasswordData alone(&document); // in no list
    alone.SetPassword(S("[:b:]"));
    EXPECT_EQ(str(alone.ResolvedField(false)), "pw");
    EXPECT_EQ(alone.ReferenceCount(), 0u);
}

TEST_F(References, MayBeAsManyAsRecordsAndMayNotFillTheMemory)
{
    document.ResetDocumentContents();
    constexpr int kLength = 20000;
    for (int i = 0; i < kLength; ++i)
        addWith(std::to_string(i), "", i + 1 < kLength ? "[:" + std::to_string(i + 1) + ":]" : "end");
    EXPECT_EQ(resolved(0), "end");
    at(kLength - 1).SetPassword(S("[:0:]"));
    EXPECT_EQ(resolved(0), "code 8");

    document.ResetDocumentContents();
    for (int i = 0; i < 40; ++i) { // doubles from record to record
        const std::string next = "[:" + std::to_string(i + 1) + ":]";
        addWith(std::to_string(i), "", i + 1 < 40 ? next + next : "0123456789");
    }
    EXPECT_EQ(resolved(0), "code 8");
    EXPECT_EQ(resolved(25).size(), 10u << 14);
}

TEST_F(References, FollowANewTitle)
{
    const struct {
        const char *name, *oldTitle, *newTitle, *before, *after;
    } kCases[] = {
        { "one", "old", "new", "<[:old:]>", "<[:new:]>" },
        { "several, caseless", "old", "new", "[:OLD:][:old:] old", "[:new:][:new:] old" },
        { "none", "old", "new", "[:older:]", "[:older:]" },
        { "in case alone", "abc", "ABC", "[:abc:]-[:Abc:]", "[:ABC:]-[:ABC:]" },
        { "back in case", "ABC", "abc", "[:ABC:]", "[:abc:]" },
        { "the new one holds the old reference", "a", "x[:a:]x", "[:a:]", "[:x[:a:]x:]" },
        { "the old title was empty", "", "new", "[::]", "[:new:]" },
        { "a place holder in the title", "%@", "100%@", "[:%@:]", "[:100%@:]" },
        { "made anew where a rewriting ends", ":]x", "q[:", "[::]x:]x:]", "[:q[:q[::]" },
        { "not ASCII", "\u00C9t\u00E9", "\u00FC", "[:e\u0301t\u00E9:]", "[:\u00FC:]" },
    };
    for (const auto& c : kCases) {
        fill({ { c.oldTitle, c.before, "pw" }, { "other", "user", c.before }, { "none", "user", "pw" } });
        const bool changes = std::string(c.before) != c.after;
        at(0).UpdateReverseReferencesToNewTitle(S(c.newTitle), /*applyTitle=*/false);
        EXPECT_EQ(str(at(0).Username()), c.after) << c.name;
        EXPECT_EQ(str(at(0).Title()), c.oldTitle) << c.name;
        EXPECT_EQ(str(at(1).Password()), c.after) << c.name;
        EXPECT_EQ(at(1).ChangedSinceSync(), changes) << c.name;
        EXPECT_EQ(str(at(1).UUID()) != "other", changes) << c.name; // an edit, with all that it does
        EXPECT_EQ(str(at(2).UUID()), "none") << c.name;
        EXPECT_EQ(at(2).ChangedSinceSync(), 0) << c.name;
    }
    fill({ { "old", "", "" }, { "other", "new title", "[:old:]" } });
    at(0).UpdateReverseReferencesToNewTitle(S("old"), /*applyTitle=*/true); // equal: nothing at all
    EXPECT_EQ(at(0).Dirty(), 0);
    at(0).UpdateReverseReferencesToNewTitle(at(1).Username(), /*applyTitle=*/true);
    EXPECT_EQ(str(at(0).Title()) + str(at(1).Password()), "new title[:new title:]");
}

std::string times(int count, const std::string& text)
{
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

TEST_F(References, ARewritingThatEndsByItselfIsNotCutShort)
{
    const std::string nested = times(1200, "[:x") + "[:y:]" + times(1200, ":]"); // shorter with each rewriting
    fill({ { "x[:y:]", nested.c_str(), "" } });
    at(0).UpdateReverseReferencesToNewTitle(S("y"), /*applyTitle=*/false);
    EXPECT_EQ(str(at(0).Username()), "[:y:]");

    const std::string ofOneLength = "[:b:]zz:]" + times(1500, "zz:]"); // each rewriting makes one reference more
    fill({ { "b:]zz", ofOneLength.c_str(), "" } });
    at(0).UpdateReverseReferencesToNewTitle(S("yy[:b"), /*applyTitle=*/false);
    EXPECT_FALSE(at(0).Username().Contains(S("[:b:]zz:]")));
}

TEST_F(References, ARewritingWithoutEndEnds)
{
    const std::string field = "[:A:][:A:][:B:]" + std::string(500000, 'z');
    fill({ { "A:][:B", field.c_str(), "" } }); // AB becomes BBAA: there is always one more, and the text grows
    at(0).UpdateReverseReferencesToNewTitle(S("B:][:B:][:A:][:A"), /*applyTitle=*/false);
    EXPECT_TRUE(at(0).Username().Contains(S("[:A:][:B:]")));
}

} // namespace
