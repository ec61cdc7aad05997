#include "VLR_Document.h"

#include "VLR_Exception.h"
#include "VLR_System.h"
#include "VLR_Utility.h"

#include <memory>

namespace {

constexpr int32_t kOverrideOff = 2;
constexpr uint32_t kDescending = 0x80000000;
constexpr uint32_t kFileVersion2 = 2; // and 1
constexpr uint32_t kFileVersion3 = 3;
constexpr uint32_t kFileVersion4 = 4;
constexpr int kDialogTries = 3;

void AppendText(VLR_String& text, const char* piece)
{
    text.AppendPiece(VLR_String(piece, VLR_CharacterSetUTF8));
}

class StVLR_UseUpExpressPassword {
public:
    StVLR_UseUpExpressPassword() = default;
    ~StVLR_UseUpExpressPassword() { VLR_System::SetExpressOpenPassword(nullptr); }
    StVLR_UseUpExpressPassword(const StVLR_UseUpExpressPassword&) = delete;
    StVLR_UseUpExpressPassword& operator=(const StVLR_UseUpExpressPassword&) = delete;
};

} // namespace

VLR_Document::VLR_Document(VLR_DocumentReadStyle style)
    : openDate(VLR_System::SecondsSince2001())
    , documentFlagOverridable(VLR_System::GetPreference(VLRPref_DocumentFlagOverride, 0) != kOverrideOff ? 1 : 0)
    , keepEncrypted(style == VLR_DocumentReadKeepEncrypted)
{
}

void VLR_Document::SetReadCompletionData(VLR_ReadCompletionData* data)
{
    if (data != readCompletionData)
        delete readCompletionData;
    readCompletionData = data;
}

uint32_t VLR_Document::ReadToCompletion()
{
    uint32_t damagedEntries = 0;
    switch (fileVersion) {
    case kFileVersion4: damagedEntries = ReadVersion4FileContentsCompletion(); break;
    case kFileVersion3: damagedEntries = ReadVersion3FileContentsCompletion(); break;
    case kFileVersion2: damagedEntries = ReadVersion1or2FileContentsCompletion(); break;
    default: VLR_RAISE_CODE(VLR_ExceptionInternal);
    }
    SetReadCompletionData(nullptr);
    return damagedEntries;
}

uint32_t VLR_Document::FromBlock(VLR_MemoryBlock& block)
{
    VLR_MemoryStream blockStream(block);
    const StVLR_DocumentStream whileReading(*this, &blockStream);
    return ReadVersion4FileContents(VLR_AskPasswordUseDocumentPassword);
}

void VLR_Document::ToBlock(VLR_MemoryBlock& block)
{
    block.Resize(0);
    VLR_MemoryStream blockStream(block);
    const StVLR_DocumentStream whileWriting(*this, &blockStream);
    WriteVersion4Contents();
}

// Password

void VLR_Document::AskUserPassword(VLR_AskPasswordReadStyle style, bool padToKeyLength)
{
    VLR_String candidate;
    PromptOutcome outcome = PromptOutcome::NoneFits;
    if (style == VLR_AskPasswordPrompt)
        outcome = PromptForPassword(candidate, padToKeyLength);
    else
        candidate = password;

    switch (outcome) {
    case PromptOutcome::Refused: VLR_RAISE_CODE(VLR_ExceptionCancelled);
    case PromptOutcome::Fits: break;
    case PromptOutcome::NoneFits: // one last try: the key of an old file is padded here even if it was not before
        if (!PasswordFits(candidate, padToKeyLength))
            VLR_RAISE_CODE(VLR_ExceptionWrongPassword);
        break;
    }
    password = candidate;
}

/// Tries keychain, express password and dialog in turn; `candidate` is the last one tried.
VLR_Document::PromptOutcome VLR_Document::PromptForPassword(VLR_String& candidate, bool padToKeyLength)
{
    VLR_String fromKeychainText;
    const bool wholeRead = halfReadFlag == VLR_HalfReadOff;
    const bool fromKeychain = wholeRead && VLR_System::KeychainPassword(fromKeychainText, this);
    if (fromKeychain)
        candidate = fromKeychainText;
    const bool tryUnasked = VLR_System::GetPreference(VLRPref_UseKeychainPassword, 0) != 0;
    if (fromKeychain && tryUnasked && PasswordFits(candidate, /*padToKeyLength=*/false))
        return PromptOutcome::Fits;
    if (ExpressPasswordFits(candidate))
        return PromptOutcome::Fits;
    return wholeRead ? AskInDialog(candidate, fromKeychain, padToKeyLength) : PromptOutcome::NoneFits;
}

/// The express password serves one try, right or wrong.
bool VLR_Document::ExpressPasswordFits(VLR_String& candidate)
{
    const VLR_String* const express = VLR_System::ExpressOpenPassword();
    if (express == nullptr)
        return false;
    candidate = *express;
    const StVLR_UseUpExpressPassword afterThisTry;
    return PasswordFits(candidate, /*padToKeyLength=*/false);
}

VLR_Document::PromptOutcome VLR_Document::AskInDialog(VLR_String& candidate, bool fromKeychain, bool padToKeyLength)
{
    for (int tries = 0; tries < kDialogTries; ++tries) {
        const bool prefilled = tries == 0 && fromKeychain;
        if (!VLR_System::DialogAskOnePassword(candidate, this, prefilled))
            return PromptOutcome::Refused;
        if (PasswordFits(candidate, padToKeyLength))
            return PromptOutcome::Fits;
        VLR_System::Beep();
    }
    return PromptOutcome::NoneFits;
}

bool VLR_Document::PasswordFits(const VLR_String& candidate, bool padToKeyLength)
{
    docFish.SetPassword(candidate, padToKeyLength);
    return docFish.Verify(referenceBuffer);
}

void VLR_Document::ChangePassword(const VLR_String& text)
{
    docFish.SetPassword(text, /*padToKeyLength=*/false);
    password = VLR_String(text); // a copy first: the argument may be this very field
    passwordChangedSinceOpen = true;
}

// Records

void VLR_Document::AddNewPasswordData(VLR_PasswordData* record)
{
    record->SetDocument(this);
    record->SetUUID(VLR_System::NewUUID());
    const StVLR_Retained whileAdding(*record);
    viewableList.AppendObject(record);
    try {
        recordList.AppendObject(record);
    } catch (...) {
        viewableList.RemoveObject(record); // both lists or none
        throw;
    }
}

void VLR_Document::RemovePasswordData(VLR_PasswordData* record)
{
    ListAsDeleted(*record);
    recordList.RemoveObject(record);
    viewableList.RemoveObject(record); // by address: if it was deleted above, no list holds it
}

void VLR_Document::ListAsDeleted(VLR_PasswordData& record)
{
    if (!docFish.Ready())
        return;
    VLR_MemoryBlock block;
    record.WriteDataWithFish(block, docFish);
    AddDeletedUUID(record.UUID(), block.ComputeChecksum());
}

void VLR_Document::DuplicatePasswordData(VLR_PasswordData* record)
{
    auto duplicate = std::make_unique<VLR_PasswordData>(this);
    duplicate->CopyContentsFrom(*record);
    AddNewPasswordData(duplicate.get());
    duplicate.release(); // the lists' now
}

void VLR_Document::ResetDocumentContents()
{
    deletionList.RemoveAll();
    recordList.RemoveAll();
    viewableList.RemoveAll();
}

// Synchronisation

void VLR_Document::AddDeletedUUID(const VLR_String& uuid, uint16_t checksum)
{
    auto entry = std::make_unique<VLR_Deletion>(uuid, checksum);
    deletionList.AppendObject(entry.get());
    entry.release(); // the list's now
}

void VLR_Document::ResetSyncInfo()
{
    deletionList.RemoveAll();
}

void VLR_Document::SetUniqueDocumentID()
{
    if (uniqueDocumentID.IsEmpty())
        uniqueDocumentID = VLR_System::NewUUID();
}

void VLR_Document::FileDuplicated()
{
    uniqueDocumentID = VLR_System::NewUUID();
    for (uint32_t i = 0; i < recordList.Count(); ++i)
        recordList.ObjectAtIndex(i)->SetChangedSinceSync(0);
}

// Other queries

void VLR_Document::SortParams(VLR_SortField& field, bool& descending) const
{
    field = static_cast<VLR_SortField>(sortParams & ~kDescending);
    descending = (sortParams & kDescending) != 0;
}

void VLR_Document::SetSortParams(VLR_SortField field, bool descending)
{
    sortParams = static_cast<uint32_t>(field) | (descending ? kDescending : 0);
}

VLR_String VLR_Document::Description() const
{
    VLR_String text;
    AppendText(text, "\n\ndoc id: ");
    text.AppendPiece(uniqueDocumentID);
    AppendText(text, "\nrecord ids and original checksums:\n");
    for (uint32_t i = 0; i < recordList.Count(); ++i) {
        const VLR_PasswordData& record = *recordList.ObjectAtIndex(i);
        text.AppendPiece(record.UUID());
        AppendText(text, " -> ");
        text.AppendPiece(VLR_Utility::UInt32AsHex(record.Checksum()));
        AppendText(text, " changedSinceSync: ");
        text.AppendPiece(VLR_Utility::SInt32ToString(record.ChangedSinceSync()));
        AppendText(text, "\n");
    }
    AppendText(text, "\ndeletions: \n");
    for (uint32_t i = 0; i < deletionList.Count(); ++i) {
        const VLR_Deletion& deletion = *deletionList.ObjectAtIndex(i);
        text.AppendPiece(deletion.uuid);
        AppendText(text, " -> ");
        text.AppendPiece(VLR_Utility::UInt32AsHex(deletion.checksum));
        AppendText(text, "\n");
    }
    return text;
}
