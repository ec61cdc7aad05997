#include "BorrowingChecks.h"
#include "ContentsChecks.h"
#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "VaultChecks.h"

#include <functional>

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

    /// What needs no password, and the rest if asked for.
    void readHead(const std::string& file, const std::function<void()>& lookAtHead, bool isToTheEnd)
    {
        VLR_MemoryBlock block = blockOf(file);
        VLR_MemoryStream stream(block);
        const StVLR_DocumentStream whileReading(document, &stream);
        document.SetHalfReadFlag(VLR_HalfReadOn);
        isDone = succeeds([&] { document.ReadVersion4FileContents(VLR_AskPasswordUseDocumentPassword); });
        lookAtHead();
        if (isDone && isToTheEnd)
            isDone = succeeds([&] { errors = document.ReadToCompletion(); });
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

void expectSameHead(const Reading& a, const Reading& b)
{
    expectSameHeader(a.document, b.document);
    expect(bytesOf(a.document.referenceBuffer) == bytesOf(b.document.referenceBuffer), "the same reference buffer");
}

/// A document that deciphers has, before it is given a password and where it gets none, what is in the clear in front
/// of the records, and no record. With the empty password it has all.
void readWithoutPassword(const std::string& file, const Reading& kept, bool isToTheEnd)
{
    Reading closed(VLR_DocumentReadDecrypted);
    const auto expectOnlyHead = [&] {
        expect(closed.document.recordList.IsEmpty(), "no record is read without the password");
        if (kept.isDone)
            expectSameHead(closed, kept);
    };
    const auto lookAtHead = [&] {
        expect(closed.isDone == kept.isDone, "what can be carried can be begun without the password");
        expectOnlyHead();
    };
    closed.readHead(file, lookAtHead, isToTheEnd);
    if (!isToTheEnd)
        return;
    if (!closed.isDone) {
        expectOnlyHead();
        return;
    }
    expectSameClearParts(kept, closed);
    expect(closed.errors >= kept.errors, "the empty password hides no damage");
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
    // A key schedule for each try takes most of the time, so not every input is tried.
    readWithoutPassword(file, kept, /*isToTheEnd=*/size % 8 == 0);
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
