#include "VaultChecks.h"

#include "FuzzInput.h"
#include "FuzzTexts.h"

#include <memory>

namespace {

bool isSame(const VLR_MemoryBlock& a, const VLR_MemoryBlock& b)
{
    return bytesOf(a) == bytesOf(b);
}

void expectSameTexts(const VLR_PasswordData& before, const VLR_PasswordData& after)
{
    expect(isSame(before.Title(), after.Title()), "the title is kept");
    expect(isSame(before.URL(), after.URL()), "the URL is kept");
    expect(isSame(before.Username(), after.Username()), "the user name is kept");
    expect(isSame(before.Password(), after.Password()), "the password is kept");
    expect(isSame(before.UsernameLabel(), after.UsernameLabel()), "the user name's label is kept");
    expect(isSame(before.PasswordLabel(), after.PasswordLabel()), "the password's label is kept");
    expect(isSame(before.Notes(), after.Notes()), "the notes are kept");
}

void expectSameGrowth(const VLR_PasswordData& before, const VLR_PasswordData& after)
{
    const auto& old = before.FutureGrowth();
    const auto& now = after.FutureGrowth();
    const uint32_t further = old.Count() > 0 ? old.Count() - 1 : 0;
    const uint32_t first = before.Browser().IsEmpty() ? 0 : 1;
    expect(now.Count() == further + first, "the number of growth items is kept");
    for (uint32_t i = 1; i < now.Count(); ++i)
        expect(isSame(*now.ObjectAtIndex(i), *old.ObjectAtIndex(i + 1 - first)), "the growth items are kept");
    if (first == 1)
        expect(isSame(before.Browser(), after.Browser()), "the browser is kept");
}

bool hasEmptyBody(const VLR_Document& document)
{
    for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
        if (document.recordList.ObjectAtIndex(i)->EncryptedBody().IsEmpty())
            return true;
    }
    return false;
}

/// The first growth item isn't in the form in which a browser is written: the next write puts another in its place, or
/// none.
bool hasForeignGrowthItem(const VLR_PasswordData& record)
{
    if (record.FutureGrowth().IsEmpty())
        return false;
    VLR_MemoryBlock item;
    VLR_MemoryStream stream(item);
    stream.WriteUTF8String(record.Browser());
    return record.Browser().IsEmpty() || !isSame(item, *record.FutureGrowth().ObjectAtIndex(0));
}

bool hasForeignGrowthItem(const VLR_Document& document)
{
    for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
        if (hasForeignGrowthItem(*document.recordList.ObjectAtIndex(i)))
            return true;
    }
    return false;
}

std::string written(VLR_Document& document)
{
    VLR_MemoryBlock file;
    document.ToBlock(file);
    expect(file.Length() == document.Version4ContentsLength(), "the length is announced as it is");
    return bytesOf(file);
}

std::unique_ptr<VLR_Document> emptyTwin(const VLR_Document& document)
{
    auto twin = std::make_unique<VLR_Document>(
        document.KeepEncrypted() ? VLR_DocumentReadKeepEncrypted : VLR_DocumentReadDecrypted);
    if (!document.KeepEncrypted())
        twin->ChangePassword(textOf(kFuzzPassword));
    return twin;
}

} // namespace

const VLR_BlowFish& fuzzFish()
{
    static const VLR_BlowFish* const fish = [] {
        auto* const made = new VLR_BlowFish;
        made->SetPassword(textOf(kFuzzPassword), /*padToKeyLength=*/false);
        return made;
    }();
    return *fish;
}

void expectSameClearPart(const VLR_PasswordData& a, const VLR_PasswordData& b)
{
    expect(isSame(a.UUID(), b.UUID()), "the UUID is the same");
    expect(a.Collapsed() == b.Collapsed(), "the collapsed flag is the same");
    expect(a.ChangedSinceSync() == b.ChangedSinceSync(), "the change flag is the same");
    expect(isSame(a.Category(), b.Category()), "the category is the same");
    expect(isSame(a.ClearBlock(), b.ClearBlock()), "the clear block is the same");
    expect(a.ClearValue() == b.ClearValue(), "the clear value is the same");
}

void expectKept(const VLR_PasswordData& before, const VLR_PasswordData& after)
{
    expectSameClearPart(before, after);
    if (before.Document()->KeepEncrypted()) {
        expect(isSame(before.EncryptedBody(), after.EncryptedBody()), "the cipher text is kept");
        return;
    }
    expectSameTexts(before, after);
    expect(before.ModifiedDate() == after.ModifiedDate(), "the date of change is kept");
    expect(before.LastUsedDate() == after.LastUsedDate(), "the date of last use is kept");
    expect(before.HiddenValue() == after.HiddenValue(), "the hidden value is kept");
    expect(before.Color() == after.Color(), "the colour is kept");
    expectSameGrowth(before, after);
}

void expectSameHeader(const VLR_Document& a, const VLR_Document& b)
{
    expect(a.documentStamp == b.documentStamp && a.sortParams == b.sortParams
            && a.documentFlagOverridable == b.documentFlagOverridable && a.documentFlagA == b.documentFlagA
            && a.documentFlagB == b.documentFlagB && a.documentFlagC == b.documentFlagC
            && a.backgroundColor == b.backgroundColor && a.documentRect == b.documentRect,
        "the preferences are the same");
    expect(isSame(a.partnerDocumentID, b.partnerDocumentID), "the partner is the same");
    expect(a.deletionList.Count() == b.deletionList.Count(), "the number of deletions is the same");
    for (uint32_t i = 0; i < a.deletionList.Count(); ++i) {
        const VLR_Deletion& left = *a.deletionList.ObjectAtIndex(i);
        const VLR_Deletion& right = *b.deletionList.ObjectAtIndex(i);
        expect(isSame(left.uuid, right.uuid) && left.checksum == right.checksum, "the deletions are the same");
    }
}

void expectSurvivesWriting(VLR_Document& document)
{
    std::string file;
    if (!succeeds([&] { file = written(document); })) {
        expect(document.KeepEncrypted() && (hasEmptyBody(document) || document.referenceBuffer.IsEmpty()),
            "what was read can be written");
        return;
    }
    const std::unique_ptr<VLR_Document> twin = emptyTwin(document);
    VLR_MemoryBlock block = blockOf(file);
    uint32_t errors = 0;
    expect(succeeds([&] { errors = twin->FromBlock(block); }), "what was written is read");
    expect(errors == 0, "what was written is read without damage");
    expect(isSame(document.uniqueDocumentID, twin->uniqueDocumentID), "the identity is kept");
    expectSameHeader(document, *twin);
    expect(document.recordList.Count() == twin->recordList.Count(), "the number of records is kept");
    for (uint32_t i = 0; i < twin->recordList.Count(); ++i)
        expectKept(*document.recordList.ObjectAtIndex(i), *twin->recordList.ObjectAtIndex(i));
    twin->openDate = document.openDate;
    if (!hasForeignGrowthItem(*twin))
        expect(written(*twin) == file, "what was read again is written to the same bytes");
}
