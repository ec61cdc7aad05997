#pragma once

#include "VLR_Array.h"
#include "VLR_Comparator.h"
#include "VLR_Stream.h"
#include "VLR_String.h"

#include <cstddef>
#include <cstdint>
#include <memory>

class VLR_BlowFish;
class VLR_Document;

/// The keys by which records sort.
enum VLR_SortField : int32_t {
    VLR_SortTitle = 1,
    VLR_SortURL = 2,
    VLR_SortUsername = 3,
    VLR_SortCategory = 4,
    VLR_SortPassword = 5,
    VLR_SortModifiedDate = 6,
    VLR_SortLastUsedDate = 7
};

/// The fields of a record that its clear part does not hold. A record that was read without being deciphered has none
/// of them, and pays for none.
struct VLR_PasswordDataDetails {
    VLR_String title_; // also the key by which references find a record
    VLR_String browser_; // stored in the growth area
    VLR_String URL_;
    VLR_String username_; // may hold references
    VLR_String usernameLabel_;
    VLR_String password_; // may hold references
    VLR_String passwordLabel_;
    VLR_String notes_;
    VLR_String originalUUID; // the identity before the first edit; never stored in a file
    uint32_t hiddenValue_ = 0; // carried, not interpreted
    VLR_Array<VLR_MemoryBlock> futureGrowth_; // chunks of the growth area in file order; element 0 is the browser item
    VLR_Color color_;
};

/// One entry of a vault.
///
/// In a document that deciphers, every field holds its value and the encrypted body is empty. In a document that keeps
/// its records encrypted, a record holds what lies in the clear part of its file block and the cipher text; it can be
/// compared, merged and written back, and every other field stays at the value that the constructor gave it.
///
/// An edit through a field setter ends a record's identity: the first one gives it a new UUID and puts the old one on
/// the document's deletion list, so a UUID names one version of a record. The document is borrowed and must outlive the
/// record, also when a merge shares the record with a second document.
class VLR_PasswordData : public VLR_Object {
public:
    /// Empty texts, no UUID, both dates now. Tells the host of the record.
    explicit VLR_PasswordData(VLR_Document* document);
    ~VLR_PasswordData() override;
    VLR_PasswordData(const VLR_PasswordData&) = delete;
    VLR_PasswordData& operator=(const VLR_PasswordData&) = delete;

    /// Records come from the memory of the blocks, which a program may provide for very many of one size, and go back
    /// to it wiped. Raises: VLR_System::kCantAllocate.
    static void* operator new(std::size_t size);
    static void operator delete(void* record, std::size_t size);

    const VLR_String& UUID() const { return uuid_; }
    const VLR_String& Title() const { return Details().title_; }
    const VLR_String& Category() const { return category_; }
    const VLR_String& Browser() const { return Details().browser_; }
    const VLR_String& URL() const { return Details().URL_; }
    const VLR_String& Username() const { return Details().username_; }
    const VLR_String& UsernameLabel() const { return Details().usernameLabel_; }
    const VLR_String& Password() const { return Details().password_; }
    const VLR_String& PasswordLabel() const { return Details().passwordLabel_; }
    const VLR_String& Notes() const { return Details().notes_; }
    int8_t Collapsed() const { return collapsed_; }
    uint8_t ChangedSinceSync() const { return changedSinceSync_; }
    uint32_t ModifiedDate() const { return modifiedDate_; } // seconds since 2001, 0 for none, as LastUsedDate
    uint32_t LastUsedDate() const { return lastUsedDate_; }
    uint8_t Dirty() const { return dirty_; }
    void* ReferenceConstant() const { return referenceConstant_; }
    uint8_t Selected() const { return selected; }
    VLR_Document* Document() const { return document_; }

    const VLR_String& OriginalUUID() const { return Details().originalUUID; }
    uint16_t OriginalChecksum() const
    {
        SettleChecksums();
        return originalChecksum;
    }
    int32_t ClearValue() const { return clearValue_; }
    const VLR_MemoryBlock& ClearBlock() const { return clearBlock_; }
    const VLR_MemoryBlock& EncryptedBody() const { return encryptedBody; }
    uint32_t HiddenValue() const { return Details().hiddenValue_; }
    const VLR_Array<VLR_MemoryBlock>& FutureGrowth() const { return Details().futureGrowth_; }
    const VLR_Color& Color() const { return Details().color_; }

    /// Checksum of the record's file block as last read, or as last written from a document that deciphers.
    uint16_t Checksum() const
    {
        SettleChecksums();
        return checksum;
    }

    /// The field setters. A text equal to the field's (exact comparison) changes nothing at all; any other is assigned,
    /// sets Dirty and ChangedSinceSync, and gives the record its new identity. None touches the modified date.
    void SetTitle(const VLR_String& text);
    void SetCategory(const VLR_String& text);
    void SetBrowser(const VLR_String& text);
    void SetURL(const VLR_String& text);
    void SetUsername(const VLR_String& text);
    void SetUsernameLabel(const VLR_String& text);
    void SetPassword(const VLR_String& text);
    void SetPasswordLabel(const VLR_String& text);
    void SetNotes(const VLR_String& text);

    /// Plain assignments.
    void SetUUID(const VLR_String& text) { uuid_ = text; }
    void SetCollapsed(unsigned char value) { collapsed_ = static_cast<int8_t>(value); }
    void SetChangedSinceSync(unsigned char value) { changedSinceSync_ = value; }
    void SetLastUsedDate(uint32_t date) { lastUsedDate_ = date; }
    void SetDocument(VLR_Document* document) { document_ = document; }
    void SetReferenceConstant(void* constant) { referenceConstant_ = constant; }
    void SetSelected(uint8_t value) { selected = value; } // for the document's selection alone

    /// Marks the record as changed since the last synchronisation too, whatever the value: a save is a change.
    void SetDirty(unsigned char value);

    /// Assigns and marks as changed since the last synchronisation; Dirty stays.
    void SetModifiedDate(uint32_t date);
    void SetModifiedDateToNow();

    /// Does nothing unless the preference VLRPref_TrackLastUsedDate is on; then it tells the running application.
    void SetLastUsedDateToNow();

    /// Copies the nine texts and both dates as they are, without any side effect.
    void CopyContentsFrom(const VLR_PasswordData& other);

    /// Plain assignment, for the renaming of a category: no edit, and no flag changes.
    void ReplaceCategoryName(const VLR_String& name) { category_ = name; }

    /// A number that differs whenever any record's title may have changed. For indexes of titles.
    static uint64_t TitleChanges() { return titleChanges; }

    /// The shuffle: at the first edit in memory the UUID goes on the document's deletion list and the record gets a
    /// fresh one. Nothing happens without a UUID, or later on.
    void syncFixShuffleUUIDs();

    /// Orders two records: below 0 if this one comes first. Ties are left to stable sorting. In a document that keeps
    /// its records encrypted the order is by UUID and category, whatever the field.
    /// Raises: kCantCompare if this record's document is encrypted and the other's is not (the other way round is not
    /// tested), kUnknownSortField.
    int32_t Compare(const VLR_PasswordData& other, VLR_SortField field, bool descending) const;

    /// The same by the sort order of this record's document.
    int32_t Compare(const VLR_Object* other) const override;

    /// True if all nine texts match exactly. With `verbose`, two records of one title leave log lines: the title, and
    /// at the first difference the field's name followed by "all fields match.", which log readers expect there.
    bool IsDuplicate(const VLR_PasswordData& other, bool verbose) const;

    /// Caseless search in the nine texts as stored, references and passwords included.
    bool Contains(const VLR_String& text) const;

    // References: "[:title:]" in a user name or password stands for the same field of the first record of that title

    /// The user name, or the password, with all references replaced. The field itself stays. A reference to no record
    /// stays in the text, and so does everything behind it.
    /// Raises: code VLR_ExceptionCancelled if a record of one title would be taken twice, whether or not it is a cycle,
    /// for a result beyond 16 MiB, and for more than 512 MiB of texts on the way; VLR_String::kTagsOutOfOrder for ":]"
    /// before "[:"; code VLR_ExceptionInternal for marks that overlap, as in "[:]".
    /// Cost: references of any depth are resolved without deep calls; a look-up costs as VLR_TitleIndex says.
    VLR_String ResolvedField(bool username);

    /// The same behind the records in `visited`, to which those taken are added and stay. Somebody must hold this
    /// record: the list would else be its last holder.
    VLR_String ResolveField(bool username, VLR_Array<VLR_PasswordData>& visited);

    /// Rewrites the references to this record's title, in all records of the document, to a title that it is about to
    /// get, and with `applyTitle` sets it. A rewritten record is an edited one. Titles match caseless here. Where the
    /// new title holds the old one, each field is rewritten once. One in which rewriting makes the old reference anew
    /// is rewritten until it is gone; a renaming ends once 32 MiB were rewritten again.
    /// Raises: what the setters raise, with the records before it rewritten.
    void UpdateReverseReferencesToNewTitle(const VLR_String& newTitle, bool applyTitle);

    VLR_String Description() const;

    /// A hook for debugging, called around reading and writing; does nothing.
    void PrintDebugOutput(const char* occasion) const;

    // Encoding (docs/file-format.md)

    /// Fills `out` with the record's file block. A document that keeps its records encrypted writes the cipher text as
    /// it was read, and `checksum` stays; otherwise `checksum` becomes that of the new block.
    /// Raises: kNoOriginalData for an encrypted record without cipher text, with `out` partly filled; a failure of
    /// VLR_BlowFish, with `out` as it was.
    void WriteDataWithFish(VLR_MemoryBlock& out, const VLR_BlowFish& fish);

    /// The bytes that WriteDataWithFish would write, FileBlockLength() of them, if they still lie where the record was
    /// read from: a block that borrows its content, in a document that keeps its records encrypted. Else null. They are
    /// proven the same at each call, so that no change of a field needs to be told.
    const unsigned char* FileBlockAsRead() const;

    /// Reads a file block of format version 0 to 4 (a higher version reads as 4); `block` stays as it was. Fields are
    /// assigned as they are read, so after a failure the record keeps those before it. From a block that borrows, the
    /// record borrows too: from the same owner, for as long as it lives (VLR_MemoryBlock::Borrow).
    /// Raises: the failures of VLR_Stream and VLR_BlowFish.
    void ReadDataWithFish(VLR_MemoryBlock& block, const VLR_BlowFish& fish);

    /// Reads the record of a version 1 file, which has no clear part; deciphers `block` in place. Each read makes a new
    /// identity.
    void ReadDataWithFishVersion1(VLR_MemoryBlock& block, const VLR_BlowFish& fish);

    /// Takes the browser from element 0 of the growth items, in its present form or as the older UTF-16 text.
    void ReadFutureGrowthEncrypted();

    /// The bytes that WriteDataWithFish will write.
    uint64_t FileBlockLength() const;

    /// The plain transfer form. Raises: code VLR_ExceptionRecordEncrypted.
    std::unique_ptr<VLR_MemoryBlock> Serialize() const;

    /// Fills the fields from the transfer form, without flags and shuffle. A block that does not begin with form
    /// version 1 changes nothing. The texts are copies, of a block that borrows too. Raises: the failures of
    /// VLR_Stream.
    void Deserialize(VLR_MemoryBlock* block);

    static constexpr char kCantCompare[] = "can't compare encrypted with unencrypted data.";
    static constexpr char kUnknownSortField[] = "unknown sort field id";
    static constexpr char kNoOriginalData[] = "no original encrypted data to write";

private:
    const VLR_PasswordDataDetails& Details() const;
    VLR_PasswordDataDetails& ChangeableDetails();
    void SetText(VLR_String VLR_PasswordDataDetails::*field, const VLR_String& text);
    void ReplaceEditedText(VLR_String& field, const VLR_String& text);
    const char* FirstDifferingField(const VLR_PasswordData& other) const;

    template <class Sink>
    void WalkClearPart(Sink& sink) const;
    void WriteEnciphered(VLR_MemoryBlock& out, const VLR_BlowFish& fish);
    void WriteClearPart(VLR_Stream& stream) const;
    void WriteEncryptedPart(VLR_Stream& stream) const;
    void SettleChecksums() const;
    void WriteGrowthArea(VLR_Stream& stream) const;
    uint64_t EncryptedPartLength() const;
    uint64_t GrowthAreaLength() const;
    bool BorrowFileBlock(const VLR_MemoryBlock& block);
    void ReadClearPart(VLR_Stream& stream, uint32_t version);
    void ReadIdentityBeforeVersion4(VLR_Stream& stream);
    void ReadEncryptedPart(VLR_Stream& stream, uint32_t version);
    void ReadTexts(VLR_Stream& stream, uint32_t version);
    void ReadDatesAndColor(VLR_Stream& stream, uint32_t version);
    void ReadGrowthArea(VLR_Stream& stream);

    VLR_String uuid_; // text form; empty until one is given
    VLR_String category_; // stored in the clear
    int8_t collapsed_ = 0;
    uint8_t changedSinceSync_ = 0;
    uint8_t dirty_ = 0; // edited and not saved
    uint8_t selected = 0;
    int32_t clearValue_ = 0; // carried, not interpreted
    VLR_MemoryBlock clearBlock_; // carried, not interpreted
    mutable uint16_t originalChecksum = 0; // settled first, as is `checksum`
    mutable uint16_t checksum = 0;
    uint32_t modifiedDate_;
    VLR_MemoryBlock encryptedBody; // cipher text as read, in documents that keep it
    uint32_t lastUsedDate_;
    void* referenceConstant_ = nullptr; // a host's handle
    VLR_Document* document_;
    const unsigned char* blockAsRead = nullptr; // where the record's file block begins, if the record borrows from it
    mutable uint32_t lengthToSum = 0; // of that block, while nobody has asked for its checksum
    std::unique_ptr<VLR_PasswordDataDetails> details;

    static uint64_t titleChanges;
};

/// Records by their virtual Compare.
class VLR_PasswordDataComparator final : public VLR_Comparator {
public:
    bool IsLessThan(const VLR_Object* a, const VLR_Object* b) const override;
    bool IsEqual(const VLR_Object* a, const VLR_Object* b) const override;
};

/// Records by title, exact.
class VLR_PasswordDataTitleComparator final : public VLR_Comparator {
public:
    bool IsLessThan(const VLR_Object* a, const VLR_Object* b) const override;
    bool IsEqual(const VLR_Object* a, const VLR_Object* b) const override;
};

/// Records by UUID, exact.
class VLR_PasswordDataUUIDComparator final : public VLR_Comparator {
public:
    bool IsLessThan(const VLR_Object* a, const VLR_Object* b) const override;
    bool IsEqual(const VLR_Object* a, const VLR_Object* b) const override;
};
