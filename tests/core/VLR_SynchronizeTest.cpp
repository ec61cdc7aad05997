#include "VLR_Synchronize.h"
#include "CoreFixture.h"
#include "ScarceMemory.h"
#include "VLR_System.h"

#include <new>

namespace {

/// Two documents that keep their records enciphered, with the same reference buffer.
class Merge : public CoreTest {
protected:
    Merge() { prepare(); }

    void prepare()
    {
        for (VLR_Document* side : { &hh, &pc }) {
            side->ResetDocumentContents();
            side->referenceBuffer = S("same");
            side->uniqueDocumentID = S(side == &hh ? "HH" : "PC");
            side->partnerDocumentID = S("old");
        }
    }

    /// Fills a side from a text: "U V/cat -X" is the records U and V, the latter in a category, and the deletion X.
    void fill(VLR_Document& side, const std::string& text)
    {
        std::size_t begin = 0;
        while (begin < text.size()) {
            const std::size_t end = std::min(text.find(' ', begin), text.size());
            const std::string item = text.substr(begin, end - begin);
            begin = end + 1;
            if (item.rfind('-', 0) == 0) {
                side.AddDeletedUUID(S(item.substr(1)), &side == &hh ? 1 : 2);
                continue;
            }
            const std::size_t slash = item.find('/');
            VLR_PasswordData* const record = add(side, "");
            if (slash != std::string::npos)
                record->SetCategory(S(item.substr(slash + 1)));
            record->SetUUID(S(item.substr(0, slash)));
            record->SetChangedSinceSync(1);
        }
    }

    static std::string shown(const VLR_Document& side)
    {
        std::string text;
        for (uint32_t i = 0; i < side.recordList.Count(); ++i) {
            const VLR_PasswordData& record = *side.recordList.ObjectAtIndex(i);
            text += str(record.UUID()) + (record.Category().IsEmpty() ? "" : "/" + str(record.Category())) + " ";
        }
        for (uint32_t i = 0; i < side.deletionList.Count(); ++i)
            text += "-" + str(side.deletionList.ObjectAtIndex(i)->uuid) + " ";
        return text;
    }

    static std::string counters(const VLR_Synchronize& merge)
    {
        return std::to_string(merge.hhDeleted) + std::to_string(merge.pcDeleted) + std::to_string(merge.hhToPcCopied)
            + std::to_string(merge.pcToHhCopied) + std::to_string(merge.duplicated) + std::to_string(merge.identical);
    }

    VLR_Document hh { VLR_DocumentReadKeepEncrypted };
    VLR_Document pc { VLR_DocumentReadKeepEncrypted };
};

TEST_F(Merge, EverySituationComesToItsOutcome)
{
    const struct {
        const char *hh, *pc, *hhAfter, *pcAfter;
        const char* counters; // deleted on hh and pc, copied to pc and hh, duplicated, identical
    } kCases[] = {
        { "", "", "", "", "000000" },
        { "U", "U", "U ", "U ", "000002" },
        { "U", "", "U ", "U ", "001001" },
        { "", "U", "U ", "U ", "000100" },
        { "U", "-U", "-U ", "-U ", "100000" },
        { "-U", "U", "-U ", "-U ", "010000" },
        { "V -U", "U", "V -U ", "V -U ", "011001" },
        { "V -U", "W -U", "V W -U ", "W V -U ", "001101" },
        { "V -U", "-U", "V -U ", "V -U ", "001001" },
        { "U/a", "U/b", "U/a U/b ", "U/b U/a ", "000021" },
        { "U", "U -U", "U -U ", "U -U ", "000002" },
        { "u", "-U", "-U ", "-U ", "100000" }, // deletions match whatever the case
        { "u", "U", "u U ", "U u ", "001101" }, // records do not
        { "-u", "-U", "-u ", "-u ", "000000" }, // folded to the one that stands first, here hh's
        { "-B -A", "-a -C", "-A -B -C ", "-A -B -C ", "000000" },
        { "-B -A -B", "", "-A -B ", "-A -B ", "000000" },
        { "U U/b", "", "U U/b U/b ", "U U/b ", "001021" }, // the second meets the first on the other side
        { "A B", "B C", "A B C ", "B C A ", "001103" },
        { "A/x", "A/y A/x", "A/x A/y ", "A/y A/x A/x ", "000022" },
        { "\xC3\xA9", "e\xCC\x81", "\xC3\xA9 ", "e\xCC\x81 ", "000002" },
        { "\xFF", "\xFE", "\xFF \xFE ", "\xFE \xFF ", "001101" },
    };
    for (const auto& c : kCases) {
        prepare();
        fill(hh, c.hh);
        fill(pc, c.pc);
        const VLR_Synchronize merge(hh, pc, VLR_SyncMerge);
        EXPECT_EQ(shown(hh), c.hhAfter) << c.hh << " | " << c.pc;
        EXPECT_EQ(shown(pc), c.pcAfter) << c.hh << " | " << c.pc;
        EXPECT_EQ(counters(merge), c.counters) << c.hh << " | " << c.pc;
        EXPECT_EQ(str(hh.partnerDocumentID) + str(pc.partnerDocumentID), "PCHH");
        for (uint32_t i = 0; i < hh.recordList.Count(); ++i)
            EXPECT_EQ(hh.recordList.ObjectAtIndex(i)->ChangedSinceSync(), 1);
    }
}

TEST_F(Merge, RecordsAndDeletionsAreShared)
{
    fill(hh, "U -X");
    fill(pc, "-x");
    const VLR_Synchronize merge(hh, pc, VLR_SyncMerge);
    EXPECT_EQ(hh.recordList.ObjectAtIndex(0), pc.recordList.ObjectAtIndex(0));
    EXPECT_EQ(hh.recordList.ObjectAtIndex(0)->Document(), &hh);
    EXPECT_EQ(hh.deletionList.ObjectAtIndex(0), pc.deletionList.ObjectAtIndex(0));
    EXPECT_EQ(pc.deletionList.ObjectAtIndex(0)->checksum, 1); // hh's stands first
    EXPECT_EQ(gSystemRepresentationLeakDetector, 0u);
}

/// A text above 64 bytes that is not ASCII gets a representation for the merge, which is given back before its record
/// goes, also where memory runs out half way.
TEST_F(Merge, LongTextsOutliveTheirRecords)
{
    std::string category;
    for (int i = 0; i < 40; ++i)
        category += "\xD1\x8F";
    const struct {
        std::string hh, pc;
    } kCases[] = { { "-U", "U/" + category }, { "U/" + category, "-U" }, { "U/" + category + " -V", "V/" + category } };
    for (const auto& c : kCases) {
        bool worked = false;
        for (std::size_t room = 0; !worked; ++room) {
            prepare();
            fill(hh, c.hh);
            fill(pc, c.pc);
            ScarceMemory::left = room;
            try {
                const VLR_Synchronize merge(hh, pc, VLR_SyncMerge);
                worked = true;
            } catch (const std::bad_alloc&) {
                worked = false;
            }
            ScarceMemory::left = SIZE_MAX;
            EXPECT_EQ(gSystemRepresentationLeakDetector, 0u) << c.hh << " | " << c.pc << ", " << room;
        }
    }
}

TEST_F(Merge, OverwritingTakesOneSide)
{
    const struct {
        VLR_SynchronizationStyle style;
        const char *hhAfter, *pcAfter;
        int hhChanged, pcChanged;
    } kCases[] = {
        { VLR_SyncPCOverHH, "V -Y ", "V -Y ", 0, 0 },
        { VLR_SyncHHOverPC, "U -X ", "U -X ", 0, 0 },
        { VLR_SyncIdentifiersOnly, "U -X ", "V -Y ", 1, 1 },
        { static_cast<VLR_SynchronizationStyle>(7), "U V -X -Y ", "V U -X -Y ", 1, 1 },
    };
    for (const auto& c : kCases) {
        prepare();
        fill(hh, "U -X");
        fill(pc, "V -Y");
        const VLR_Synchronize merge(hh, pc, c.style);
        EXPECT_EQ(shown(hh), c.hhAfter);
        EXPECT_EQ(shown(pc), c.pcAfter);
        EXPECT_EQ(hh.recordList.ObjectAtIndex(0)->ChangedSinceSync(), c.hhChanged);
        EXPECT_EQ(pc.recordList.ObjectAtIndex(0)->ChangedSinceSync(), c.pcChanged);
        EXPECT_EQ(str(hh.partnerDocumentID) + str(pc.partnerDocumentID), "PCHH");
    }
}

TEST_F(Merge, OtherMastersChangeNothing)
{
    for (const auto style : { VLR_SyncMerge, VLR_SyncPCOverHH, VLR_SyncIdentifiersOnly }) {
        prepare();
        fill(hh, "U");
        pc.referenceBuffer = S("another");
        EXPECT_EQ(failure([&] { const VLR_Synchronize merge(hh, pc, style); }), "code 9");
        EXPECT_EQ(shown(pc), "");
        EXPECT_EQ(str(pc.partnerDocumentID), "old");
    }
    document.referenceBuffer = hh.referenceBuffer;
    fill(document, "U");
    EXPECT_EQ(failure([&] { const VLR_Synchronize merge(hh, document, VLR_SyncMerge); }),
        "can't compare encrypted with unencrypted data.");
}

TEST_F(Merge, DescribesItself)
{
    fill(hh, "A B");
    fill(pc, "C -A");
    const VLR_Synchronize merge(hh, pc, VLR_SyncMerge);
    EXPECT_EQ(str(merge.Description()),
        "     hh deleted:1\n     pc deleted:0\n    hh->pc copy:1\n    pc->hh copy:1\n    pc->hh repl:0\n    hh->pc "
        "repl:0\n     duplicated:0\n       pc total:2\n       hh total:2");
}

TEST_F(Merge, ADocumentWithItselfEnds)
{
    fill(hh, "U/a U/b -X -x");
    const VLR_Synchronize merge(hh, hh, VLR_SyncMerge);
    EXPECT_EQ(str(hh.partnerDocumentID), "HH");
    const VLR_Synchronize over(hh, hh, VLR_SyncHHOverPC);
    EXPECT_GE(hh.recordList.Count(), 2u);
}

TEST_F(Merge, TheOlderRuleGoesByTheFlags)
{
    const struct {
        int hhChanged, pcChanged;
        const char *hhBody, *pcBody;
        const char* outcome; // replaced on hh and pc, duplicated, identical
        uint32_t hhTotal, pcTotal;
    } kCases[] = {
        { 1, 0, "", "", "0102", 1, 1 },
        { 0, 1, "", "", "1001", 1, 1 },
        { 1, 1, "", "", "0011", 2, 2 },
        { 0, 0, "", "", "0002", 1, 1 },
    };
    for (const auto& c : kCases) {
        prepare();
        const VLR_Synchronize first(hh, pc, VLR_SyncIdentifiersOnly);
        fill(hh, "U");
        fill(pc, "U");
        hh.recordList.ObjectAtIndex(0)->SetChangedSinceSync(static_cast<unsigned char>(c.hhChanged));
        pc.recordList.ObjectAtIndex(0)->SetChangedSinceSync(static_cast<unsigned char>(c.pcChanged));
        VLR_Synchronize merge(hh, pc, VLR_SyncIdentifiersOnly);
        merge.MergePCWithHH_OldAndUnused();
        EXPECT_EQ(std::to_string(merge.pcToHhReplaced) + std::to_string(merge.hhToPcReplaced)
                + std::to_string(merge.duplicated),
            std::string(c.outcome).substr(0, 3))
            << c.hhChanged << c.pcChanged;
        EXPECT_EQ(hh.recordList.Count(), c.hhTotal);
        EXPECT_EQ(pc.recordList.Count(), c.pcTotal);
    }
}

} // namespace
