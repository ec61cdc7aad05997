#include "Guards.h"
#include "FilePaths.h"

#include "RunFixture.h"
#include "SyncPlan.h"

namespace {

class GuardsTest : public RunFixture {
protected:
    std::string objections(const std::string& first, const std::string& second)
    {
        const SyncPlan plan(
            PlannedFile(folder.path("a.vlr"), dataOf(first)), PlannedFile(folder.path("b.vlr"), dataOf(second)));
        std::string names;
        for (const Objection& objection : objectionsTo(plan, journal))
            names += (names.empty() ? "" : " ") + nameOf(objection.kind);
        return names;
    }
    std::string objections(const SketchedVault& first, const SketchedVault& second)
    {
        return objections(first.bytes(), second.bytes());
    }

    bool tellsRecords = true; // as older entries don't

    /// What the journal says of a.vlr: the run left it with these bytes.
    JournalRun noteRun(const std::string& before, const std::string& after, JournalRun::State state)
    {
        JournalRun run;
        run.id = journal.newId();
        run.state = state;
        JournalFile file;
        file.path = canonicalPath(folder.path("a.vlr"));
        file.hashBefore = hashOf(dataOf(before));
        file.hashAfter = hashOf(dataOf(after));
        file.openDateAfter = contentsOf(after).openDate;
        file.deletionsAfter = static_cast<uint32_t>(contentsOf(after).deletions.size());
        if (tellsRecords)
            file.recordsAfter = static_cast<uint32_t>(contentsOf(after).records.size());
        run.files = { file };
        journal.write(run);
        return run;
    }
};

SketchedVault withRecords(int count)
{
    SketchedVault vault;
    for (int i = 0; i < count; ++i)
        vault.records.push_back({ "R" + std::to_string(i) });
    return vault;
}

/// The partner of `withRecords` that has deleted some of them and holds the others.
SketchedVault withDeletions(int count, int deleted)
{
    SketchedVault vault = withRecords(count);
    vault.records.erase(vault.records.begin(), vault.records.begin() + deleted);
    for (int i = 0; i < deleted; ++i)
        vault.deletions.push_back("R" + std::to_string(i));
    return vault;
}

TEST_F(GuardsTest, RemovalsAreMoreThanTenAndMoreThanAQuarter)
{
    EXPECT_EQ(objections(withRecords(20), withDeletions(20, 10)), "");
    EXPECT_EQ(objections(withRecords(44), withDeletions(44, 11)), "");
    EXPECT_EQ(objections(withRecords(43), withDeletions(43, 11)), "removals");
    EXPECT_EQ(objections(withDeletions(43, 11), withRecords(43)), "removals");
}

TEST_F(GuardsTest, UnrelatedVaultsHaveNothingInCommon)
{
    const SketchedVault own { { { "1" } }, {}, "I", "" };
    EXPECT_EQ(objections(own, { { { "2" } }, {}, "J", "" }), "unrelated");
    EXPECT_EQ(objections(own, { {}, {}, "J", "" }), "");
    EXPECT_EQ(objections(own, { { { "2" } }, {}, "J", "I" }), "");
    EXPECT_EQ(objections(own, { { { "1" } }, {}, "J", "" }), "");
    EXPECT_EQ(objections(own, { { { "2" } }, { "1" }, "J", "" }), "");
}

TEST_F(GuardsTest, DamageOnEitherSide)
{
    const std::string whole = SketchedVault { { { "1" } } }.bytes();
    EXPECT_EQ(objections(whole + "???", whole), "damage");
    EXPECT_EQ(objections(whole, whole + "???"), "damage");
}

SketchedVault dated(char date, const SketchedVault& vault = { { { "1" } } })
{
    SketchedVault result = vault;
    result.preferences = std::string("\0\0\0\4", 4) + std::string(4, date) + std::string(26, '\0');
    return result;
}

TEST_F(GuardsTest, OlderStatesAreKnownByBytesDeletionsAndByDateWithNumbers)
{
    using State = JournalRun::State;
    const std::string first = dated(1).bytes();
    const std::string second = dated(2, { { { "1" } }, { "D" } }).bytes();
    const std::string third = dated(3, { { { "1" } }, { "D" } }).bytes();
    const std::string laterAndLess = dated(4).bytes();
    const std::string later = dated(4, { { { "1" }, { "2" } }, { "D", "E" } }).bytes();
    const std::string openedBefore = dated(1, { { { "1" }, { "2" } }, { "D" } }).bytes(); // and saved behind the run
    const std::string openedBeforeAndLess = dated(1, { {}, { "D" } }).bytes();
    const std::string openedLaterAndLess = dated(4, { {}, { "D" } }).bytes();
    const std::string oneRecordLess = dated(1, { {}, { "D", "E" } }).bytes(); // by a deletion
    const std::string other = dated(3).bytes();

    EXPECT_EQ(objections(first, other), "");
    noteRun(first, second, State::Done);
    JournalRun last = noteRun(second, third, State::Done);
    EXPECT_EQ(objections(third, other), "");
    EXPECT_EQ(objections(second, other), "older-state");
    EXPECT_EQ(objections(first, other), "older-state");
    EXPECT_EQ(objections(later, other), "");
    EXPECT_EQ(objections(laterAndLess, other), "older-state");
    EXPECT_EQ(objections(openedBefore, other), "");
    EXPECT_EQ(objections(oneRecordLess, other), "");
    EXPECT_EQ(objections(openedBeforeAndLess, other), "older-state");
    EXPECT_EQ(objections(openedLaterAndLess, other), "");

    tellsRecords = false;
    last = noteRun(second, third, State::Done);
    EXPECT_EQ(objections(openedBeforeAndLess, other), "");

    for (const State cutOff : { State::Begun, State::HalfDone, State::UndoBegun }) {
        last.state = cutOff;
        journal.write(last);
        EXPECT_EQ(objections(third, other), "");
        EXPECT_EQ(objections(second, other), "");
        EXPECT_EQ(objections(first, other), "older-state");
    }

    last.state = State::Undone;
    journal.write(last);
    EXPECT_EQ(objections(second, other), "");
    EXPECT_EQ(objections(third, other), "older-state");
}

TEST_F(GuardsTest, BehindTwoUndosTheOldestStateCounts)
{
    const std::string states[] = { dated(1).bytes(), dated(2).bytes(), dated(3).bytes() };
    noteRun(states[0], states[1], JournalRun::State::Undone);
    noteRun(states[1], states[2], JournalRun::State::Undone);
    EXPECT_EQ(objections(states[0], dated(4).bytes()), "");
    EXPECT_EQ(objections(states[1], dated(4).bytes()), "older-state");
}

TEST_F(GuardsTest, AnOptionWavesItsGuardAside)
{
    const std::pair<Objection::Kind, bool GuardOptions::*> kGuards[] = {
        { Objection::Kind::Removals, &GuardOptions::allowRemovals },
        { Objection::Kind::Unrelated, &GuardOptions::allowUnrelated },
        { Objection::Kind::Damage, &GuardOptions::allowDamage },
        { Objection::Kind::OlderState, &GuardOptions::allowOlder },
    };
    for (const auto& [kind, allowance] : kGuards) {
        GuardOptions allowAllOthers { true, true, true, true };
        allowAllOthers.*allowance = false;
        EXPECT_THROW(refuseUnlessAllowed({ { kind, "m" } }, allowAllOthers, console), GuardRefusal);
        GuardOptions allowed;
        allowed.*allowance = true;
        EXPECT_NO_THROW(refuseUnlessAllowed({ { kind, "m" } }, allowed, console));
        EXPECT_NE(std::string(GuardRefusal({ kind, "m" }).what()).find(optionFor(kind)), std::string::npos);
    }
}

} // namespace
