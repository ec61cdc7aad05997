#include "BorrowingChecks.h"
#include "ContentsChecks.h"
#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "VaultChecks.h"

// A version 4 file, read in both styles, with the password and without: the styles agree on the clear part, half a read
// and the rest make a whole one, what was read survives being written, the program's own reader finds the same, and a
// read that borrows does as one that copies.

namespace {

struct Reading {
    explicit Reading(VLR_DocumentReadStyle style)
        : document(style)
    {
    }

    void read(const std::string& file)
    {
        VLR_MemoryBlock block = blockOf(file);
        isDone = succeeds([&] { errors = document.FromBlock(block); });
    }

    void readInHalves(const std::string& file)
    {
        VLR_MemoryBlock block = blockOf(file);
        VLR_MemoryStream stream(block);
        const StVLR_DocumentStream whileReading(document, &stream);
        document.SetHalfReadFlag(VLR_HalfReadOn);
        isDone = succeeds([&] {
            expect(
                document.ReadVersion4FileContents(VLR_AskPasswordUseDocumentPassword) == 0, "half a read finds none");
            errors = document.ReadToCompletion();
        });
    }

    VLR_Document document;
    bool isDone = false;
    uint32_t errors = 0;
};

void expectSameClearParts(const Reading& a, const Reading& b)
{
    expectSameHeader(a.document, b.document);
    expect(a.document.recordList.Count() == b.document.recordList.Count(), "both reads find as many records");
    for (uint32_t i = 0; i < a.document.recordList.Count(); ++i)
        expectSameClearPart(*a.document.recordList.ObjectAtIndex(i), *b.document.recordList.ObjectAtIndex(i));
}

/// A key schedule for each try takes most of the time, so not every input is tried, here and where the borrowed is
/// opened.
void readWithoutPassword(const std::string& file, bool isKept)
{
    Reading closed(VLR_DocumentReadDecrypted);
    closed.read(file);
    expect(isKept || !closed.isDone, "what can't be carried can't be opened without password");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    const std::string file(reinterpret_cast<const char*>(data), size);
    Reading kept(VLR_DocumentReadKeepEncrypted);
    kept.read(file);
    Reading halves(VLR_DocumentReadKeepEncrypted);
    halves.readInHalves(file);
    expect(halves.isDone == kept.isDone && halves.errors == kept.errors, "two halves make a whole");
    expectSameContents(file, kept.document, kept.isDone, kept.errors);
    expectBorrowedAsCopied(file, VLR_DocumentReadKeepEncrypted);

    Reading opened(VLR_DocumentReadDecrypted);
    opened.document.ChangePassword(textOf(kFuzzPassword));
    opened.read(file);
    expect(kept.isDone || !opened.isDone, "what can't be carried can't be opened");
    if (size % 8 == 0)
        readWithoutPassword(file, kept.isDone);
    if (size % 8 == 1)
        expectBorrowedAsCopied(file, VLR_DocumentReadDecrypted);
    if (!kept.isDone)
        return 0;
    expectSameClearParts(kept, halves);
    expectSurvivesWriting(kept.document);
    if (!opened.isDone)
        return 0;
    expectSameClearParts(kept, opened);
    expect(opened.errors >= kept.errors, "the password hides no damage");
    expectSurvivesWriting(opened.document);
    return 0;
}
