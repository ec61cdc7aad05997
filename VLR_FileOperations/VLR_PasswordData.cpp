#include "VLR_PasswordData.h"

#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_Guards.h"
#include "VLR_System.h"

namespace {

struct NamedText {
    const char* name;
    const VLR_String& (VLR_PasswordData::*text)() const;
};

/// The texts that make a record what it is, in the order in which they are compared and searched.
constexpr NamedText kTexts[] = {
    { "title_", &VLR_PasswordData::Title },
    { "category_", &VLR_PasswordData::Category },
    { "browser_", &VLR_PasswordData::Browser },
    { "URL_", &VLR_PasswordData::URL },
    { "username_", &VLR_PasswordData::Username },
    { "usernameLabel_", &VLR_PasswordData::UsernameLabel },
    { "password_", &VLR_PasswordData::Password },
    { "passwordLabel_", &VLR_PasswordData::PasswordLabel },
    { "notes_", &VLR_PasswordData::Notes },
};

bool IsEqualExact(const VLR_String& a, const VLR_String& b)
{
    return a.Compare(&b) == 0;
}

/// Modulo 2^32, read as signed, like the differences of dates that it turns round.
int32_t TimesSign(int32_t order, bool descending)
{
    return descending ? static_cast<int32_t>(0u - static_cast<uint32_t>(order)) : order;
}

const VLR_PasswordData& AsRecord(const VLR_Object* object)
{
    return *static_cast<const VLR_PasswordData*>(object);
}

} // namespace

uint64_t VLR_PasswordData::titleChanges = 0;

VLR_PasswordData::VLR_PasswordData(VLR_Document* document)
    : modifiedDate_(VLR_System::SecondsSince2001())
    , lastUsedDate_(modifiedDate_)
    , document_(document)
{
    VLR_System::AlloctatePasswordDataReferenceConstant(this);
}

VLR_PasswordData::~VLR_PasswordData()
{
    VLR_System::FreePasswordDataReferenceConstant(this);
}

void* VLR_PasswordData::operator new(std::size_t size)
{
    static_assert(alignof(VLR_PasswordData) <= kGuardPayloadOffset);
    return VLR_System::Allocate(static_cast<unsigned int>(size));
}

void VLR_PasswordData::operator delete(void* record, std::size_t size)
{
    // A damaged guard is logged but can't be raised from here; the record is wiped, and its storage stays behind.
    try {
        VLR_MemoryBlock::ClearAndFree(static_cast<unsigned char*>(record), static_cast<uint32_t>(size));
    } catch (...) {
    }
}

void VLR_PasswordData::SetTitle(const VLR_String& text)
{
    SetText(&VLR_PasswordDataDetails::title_, text);
}
void VLR_PasswordData::SetBrowser(const VLR_String& text)
{
    SetText(&VLR_PasswordDataDetails::browser_, text);
}
void VLR_PasswordData::SetURL(const VLR_String& text)
{
    SetText(&VLR_PasswordDataDetails::URL_, text);
}
void VLR_PasswordData::SetUsername(const VLR_String& text)
{
    SetText(&VLR_PasswordDataDetails::username_, text);
}
void VLR_PasswordData::SetPassword(const VLR_String& text)
{
    SetText(&VLR_PasswordDataDetails::password_, text);
}
void VLR_PasswordData::SetNotes(const VLR_String& text)
{
    SetText(&VLR_PasswordDataDetails::notes_, text);
}

void VLR_PasswordData::SetUsernameLabel(const VLR_String& text)
{
    SetText(&VLR_PasswordDataDetails::usernameLabel_, text);
}

void VLR_PasswordData::SetPasswordLabel(const VLR_String& text)
{
    SetText(&VLR_PasswordDataDetails::passwordLabel_, text);
}

void VLR_PasswordData::SetCategory(const VLR_String& text)
{
    if (IsEqualExact(category_, text))
        return;
    ReplaceEditedText(category_, text);
}

void VLR_PasswordData::SetDirty(unsigned char value)
{
    dirty_ = value;
    changedSinceSync_ = 1;
}

void VLR_PasswordData::SetModifiedDate(uint32_t date)
{
    modifiedDate_ = date;
    changedSinceSync_ = 1;
}

void VLR_PasswordData::SetModifiedDateToNow()
{
    SetModifiedDate(VLR_System::SecondsSince2001());
}

void VLR_PasswordData::SetLastUsedDateToNow()
{
    if (VLR_System::GetPreference(VLRPref_TrackLastUsedDate, 0) == 0)
        return;
    lastUsedDate_ = VLR_System::SecondsSince2001();
    VLR_System::SendMessageToRunningApp(0, document_);
}

void VLR_PasswordData::CopyContentsFrom(const VLR_PasswordData& other)
{
    const VLR_PasswordDataDetails& from = other.Details();
    VLR_PasswordDataDetails& to = ChangeableDetails();
    ++titleChanges;
    to.title_ = from.title_;
    category_ = other.category_;
    to.browser_ = from.browser_;
    to.URL_ = from.URL_;
    to.username_ = from.username_;
    to.usernameLabel_ = from.usernameLabel_;
    to.password_ = from.password_;
    to.passwordLabel_ = from.passwordLabel_;
    to.notes_ = from.notes_;
    modifiedDate_ = other.modifiedDate_;
    lastUsedDate_ = other.lastUsedDate_;
}

void VLR_PasswordData::syncFixShuffleUUIDs()
{
    if (uuid_.IsEmpty() || !OriginalUUID().IsEmpty())
        return;
    // What can fail comes first: an identity that is listed as deleted must never stay a live record's.
    VLR_String fresh = VLR_System::NewUUID();
    VLR_String& original = ChangeableDetails().originalUUID;
    document_->AddDeletedUUID(uuid_, Checksum());
    original.Exchange(uuid_);
    uuid_.Exchange(fresh);
    originalChecksum = Checksum();
}

int32_t VLR_PasswordData::Compare(const VLR_PasswordData& other, VLR_SortField field, bool descending) const
{
    if (document_->KeepEncrypted()) {
        if (!other.document_->KeepEncrypted())
            VLR_RAISE(kCantCompare);
        const int32_t order = uuid_.Compare(&other.uuid_);
        return TimesSign(order != 0 ? order : category_.Compare(&other.category_), descending);
    }
    switch (field) {
    case VLR_SortTitle: return TimesSign(Title().CompareCaseless(&other.Title()), descending);
    case VLR_SortURL: return TimesSign(URL().CompareCaseless(&other.URL()), descending);
    case VLR_SortUsername: return TimesSign(Username().CompareCaseless(&other.Username()), descending);
    case VLR_SortCategory: return TimesSign(category_.CompareCaseless(&other.category_), descending);
    case VLR_SortPassword: return TimesSign(Password().CompareCaseless(&other.Password()), descending);
    case VLR_SortModifiedDate: return TimesSign(static_cast<int32_t>(modifiedDate_ - other.modifiedDate_), descending);
    case VLR_SortLastUsedDate: return TimesSign(static_cast<int32_t>(lastUsedDate_ - other.lastUsedDate_), descending);
    }
    VLR_RAISE(kUnknownSortField);
}

int32_t VLR_PasswordData::Compare(const VLR_Object* other) const
{
    VLR_SortField field = VLR_SortTitle;
    bool descending = false;
    document_->SortParams(field, descending);
    return Compare(AsRecord(other), field, descending);
}

bool VLR_PasswordData::IsDuplicate(const VLR_PasswordData& other, bool verbose) const
{
    const bool logging = verbose && IsEqualExact(Title(), other.Title());
    if (logging)
        VLR_System::Log("Candidate duplicate: ", Title());
    const char* const difference = FirstDifferingField(other);
    if (difference == nullptr)
        return true;
    if (logging) {
        VLR_System::Log("field differs: ", VLR_String(difference, VLR_CharacterSetUTF8));
        VLR_System::Log("all fields match.", VLR_String()); // log readers count on it behind every difference
    }
    return false;
}

const char* VLR_PasswordData::FirstDifferingField(const VLR_PasswordData& other) const
{
    for (const NamedText& field : kTexts) {
        if (!IsEqualExact((this->*field.text)(), (other.*field.text)()))
            return field.name;
    }
    return nullptr;
}

bool VLR_PasswordData::Contains(const VLR_String& text) const
{
    for (const NamedText& field : kTexts) {
        if ((this->*field.text)().Contains(text))
            return true;
    }
    return false;
}

VLR_String VLR_PasswordData::Description() const
{
    VLR_String description("uuid: ", VLR_CharacterSetUTF8);
    description.Append(uuid_);
    return description;
}

void VLR_PasswordData::PrintDebugOutput(const char*) const { }

const VLR_PasswordDataDetails& VLR_PasswordData::Details() const
{
    static const VLR_PasswordDataDetails kNone;
    return details ? *details : kNone;
}

VLR_PasswordDataDetails& VLR_PasswordData::ChangeableDetails()
{
    if (!details)
        details = std::make_unique<VLR_PasswordDataDetails>();
    return *details;
}

void VLR_PasswordData::SetText(VLR_String VLR_PasswordDataDetails::*field, const VLR_String& text)
{
    if (IsEqualExact(Details().*field, text))
        return;
    ReplaceEditedText(ChangeableDetails().*field, text);
}

/// Text, flags and identity change together, or a failure leaves them all.
void VLR_PasswordData::ReplaceEditedText(VLR_String& field, const VLR_String& text)
{
    VLR_String copy(text);
    syncFixShuffleUUIDs();
    ++titleChanges; // of a title or not: an index made anew costs little beside an edit
    field.Exchange(copy);
    dirty_ = 1;
    changedSinceSync_ = 1;
}

bool VLR_PasswordDataComparator::IsLessThan(const VLR_Object* a, const VLR_Object* b) const
{
    return a->Compare(b) < 0;
}

bool VLR_PasswordDataComparator::IsEqual(const VLR_Object* a, const VLR_Object* b) const
{
    return a->Compare(b) == 0;
}

bool VLR_PasswordDataTitleComparator::IsLessThan(const VLR_Object* a, const VLR_Object* b) const
{
    return AsRecord(a).Title().Compare(&AsRecord(b).Title()) < 0;
}

bool VLR_PasswordDataTitleComparator::IsEqual(const VLR_Object* a, const VLR_Object* b) const
{
    return IsEqualExact(AsRecord(a).Title(), AsRecord(b).Title());
}

bool VLR_PasswordDataUUIDComparator::IsLessThan(const VLR_Object* a, const VLR_Object* b) const
{
    return AsRecord(a).UUID().Compare(&AsRecord(b).UUID()) < 0;
}

bool VLR_PasswordDataUUIDComparator::IsEqual(const VLR_Object* a, const VLR_Object* b) const
{
    return IsEqualExact(AsRecord(a).UUID(), AsRecord(b).UUID());
}
