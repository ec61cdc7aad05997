#pragma once

#include "VLR_Array.h"
#include "VLR_BlowFish.h"
#include "VLR_Browser.h"
#include "VLR_Categories.h"
#include "VLR_Deletion.h"
#include "VLR_PasswordData.h"
#include "VLR_Search.h"
#include "VLR_Select.h"
#include "VLR_Stream.h"
#include "VLR_String.h"
#include "VLR_TitleIndex.h"

#include <cstdint>

/// Whether records are ever deciphered: all of them at the completion of a read, or never.
enum VLR_DocumentReadStyle : int32_t {
    VLR_DocumentReadDecrypted = 0,
    VLR_DocumentReadKeepEncrypted = 1
};

/// Where a read gets the master password from.
enum VLR_AskPasswordReadStyle : int32_t {
    VLR_AskPasswordUseDocumentPassword = 1, // only the password that the document holds already
    VLR_AskPasswordPrompt = 2 // keychain, express password and dialog
};

/// Whether a read stops behind the file's header, which needs no password.
enum VLR_HalfReadFlagType : int32_t {
    VLR_HalfReadOff = 0,
    VLR_HalfReadOn = 1
};

/// What a host hands over that has taken a version 1 or 2 file apart.
class VLR_ReadCompletionData {
public:
    virtual ~VLR_ReadCompletionData() = default;

    VLR_Array<VLR_MemoryBlock> recordBlocks; // one block per record
    VLR_MemoryBlock preferencesBlock;
    bool isVersion1 = false;
};

/// One open vault: its records, deletion list, identity, preferences, cipher and master password.
///
/// A document is read from and written to a stream that somebody else owns. It owns its lists; records and deletion
/// entries are reference counted and may be shared with another document after a merge, so both documents must live
/// until both are written. A failed read leaves the header as far as it got.
class VLR_Document : public VLR_Object {
public:
    explicit VLR_Document(VLR_DocumentReadStyle style);
    VLR_Document(const VLR_Document&) = delete;
    VLR_Document& operator=(const VLR_Document&) = delete;

    // Reading and writing

    /// The stream must live through every read and write that follows.
    void SetStream(VLR_Stream* newStream) { stream = newStream; }
    void SetHalfReadFlag(VLR_HalfReadFlagType flag) { halfReadFlag = flag; }

    /// Takes ownership; destroys what was held before. An unfinished read leaves it to the host: the destructor of the
    /// document does not destroy it.
    void SetReadCompletionData(VLR_ReadCompletionData* data);

    /// Reads a version 4 file from the stream (docs/file-format.md); the magic may be missing. Goes on to
    /// ReadToCompletion unless the half-read flag is set.
    ///
    /// Returns the number of damaged entries: a damaged record does not fail a read but stays in the list with what
    /// could be read of it. 0 after a half read.
    /// Raises: kNilStream, the kExpected... texts, those of the preferences, and the failures of VLR_Stream, with the
    /// lists emptied and the header filled as far as it got; the failures of AskUserPassword.
    uint32_t ReadVersion4FileContents(VLR_AskPasswordReadStyle style);

    /// Reads a version 3 file, which has no magic and no identity; its deletion list is not taken over. The password is
    /// asked for, and its key padded. Half reads and the result are as for version 4.
    ///
    /// A record that can't be deciphered stays in the list, but anything else between records ends the read with those
    /// before it in the list. A next save writes version 4, which the same password opens.
    /// Raises: kCantConvert in a document that keeps its records encrypted, before anything else; kNilStream, the
    /// kExpected... texts, those of the preferences, and the failures of VLR_Stream and AskUserPassword. The lists are
    /// not emptied first: read into a new document.
    uint32_t ReadVersion3FileContents();

    /// Reads what a host has made of a version 1 or 2 file: its reference buffer, and preferences and record blocks in
    /// the read completion data, which must be set. Otherwise as version 3, but it adds to the records that are there.
    /// Raises: kCantConvert in a document that keeps its records encrypted, which would write bodies that nobody reads
    /// again; code VLR_ExceptionInternal without completion data; those of the preferences and of AskUserPassword.
    uint32_t ReadVersion1or2FileContents(VLR_MemoryBlock& block);

    /// The magic of a version 4 file if the block begins with it, else 0, which says nothing more.
    static uint32_t VellorinFileVersion(VLR_MemoryBlock& block);

    /// The second half of a read: password and records. Raises: code VLR_ExceptionInternal without a first half.
    uint32_t ReadToCompletion();

    /// Writes the whole file to the stream, which must be empty. Gives a document without identity its identity.
    /// Raises: kNilStream, kStreamNotReset, kNoReferenceBuffer, and the failures of a record's WriteDataWithFish. The
    /// stream is then partly filled and must not go to disk.
    void WriteVersion4Contents();

    /// The bytes that WriteVersion4Contents will write, once the document has its identity.
    uint64_t Version4ContentsLength() const;

    /// Reads from a block, with the password that the document holds; returns the number of damaged entries. The
    /// document has no stream afterwards, as after ToBlock, so a half read can't be continued. From a block that
    /// borrows, what is in the clear and what stays enciphered borrows too, as from any stream that lends.
    uint32_t FromBlock(VLR_MemoryBlock& block);
    void ToBlock(VLR_MemoryBlock& block);

    /// Moves the preferences to and from the stream as a data chunk. What is read into the previous open date never
    /// goes out again: a file receives the moment at which the writing document was made.
    /// Raises: kNilStream, kUnknownPreferencesVersion, VLR_MemoryBlockStreamCheck's failure after all fields are set.
    void WriteDocumentPreferences();
    void ReadDocumentPreferences();

    // Password

    /// Ends with the cipher keyed and verified against the reference buffer, and the password kept; or raises code
    /// VLR_ExceptionCancelled (the dialog was refused) or VLR_ExceptionWrongPassword, with the cipher keyed with the
    /// last candidate and the password as it was. `padToKeyLength` is for files before version 4.
    void AskUserPassword(VLR_AskPasswordReadStyle style, bool padToKeyLength);

    /// Keys the cipher for the next write. Records are not touched.
    void ChangePassword(const VLR_String& text);

    /// Compares with the password that the document holds; no cipher is involved.
    bool ConfirmPassword(const VLR_String& text) const { return password.Compare(&text) == 0; }
    const VLR_String& Password() const { return password; }
    VLR_BlowFish& DocFish() { return docFish; }
    bool PasswordChangedSinceOpen() const { return passwordChangedSinceOpen; }
    void SetPasswordChangedSinceOpen(bool changed) { passwordChangedSinceOpen = changed; }

    // Records

    /// Takes the record: gives it a fresh UUID and this document, and appends it to both lists. If that raises, neither
    /// list has it, and it is the caller's as before.
    void AddNewPasswordData(VLR_PasswordData* record);

    /// Lists the record as deleted, with the checksum of its block as written now, and takes it out of both lists.
    /// Without a keyed cipher no deletion is listed: such a document can't tell what it removes.
    void RemovePasswordData(VLR_PasswordData* record);

    /// Adds a record with the same texts and dates; colour, flags and opaque fields stay behind.
    void DuplicatePasswordData(VLR_PasswordData* record);

    /// Sorts the records and latches those that equal the one before them in all nine texts; answers their number.
    /// Between two equal records there may come one whose texts differ in case alone: then neither is latched.
    /// Leaves every record viewable, nothing selected, both lists sorted, and the sort order by title. With `verbose`
    /// it logs as VLR_PasswordData::IsDuplicate does. Only for deciphered records: those kept encrypted have no texts.
    /// Cost: some sorts of the records.
    uint32_t LatchDuplicates(bool verbose);

    /// Removes what LatchDuplicates finds; answers their number. Forgets all deletions, like ResetSyncInfo.
    uint32_t RemoveDuplicates();

    /// Empties the deletion list and both record lists.
    void ResetDocumentContents();

    // Finds fill the viewable list; a record stands in it twice if two finds add it.

    void FindParams(const VLR_Search& find);
    void FindAll();

    /// Records with the text in any of the nine texts, caseless. No record holds the empty text.
    void FindContains(const VLR_String& text, bool addToResults);

    /// Records of exactly this category.
    void FindCategory(const VLR_String& text, bool addToResults);

    /// The first record of exactly this title, or null. Finds nothing anew and shows nothing.
    VLR_PasswordData* FindTitle(const VLR_String& title);

    /// Sorts both lists by the sort order; the title, in the same direction, breaks ties. Records equal in both stay in
    /// their order.
    /// Raises: VLR_PasswordData::kUnknownSortField, with the lists sorted by title; kCantCompare.
    void SortRecords();

    // Synchronisation

    /// Appends an entry, also for a UUID that has one already.
    void AddDeletedUUID(const VLR_String& uuid, uint16_t checksum);

    /// Forgets all deletions; records deleted here come back from the next partner.
    void ResetSyncInfo();

    /// Gives a document without identity a fresh one; keeps any other.
    void SetUniqueDocumentID();

    /// For a file that was made as a copy of another: always a fresh identity, and no record changed since sync.
    void FileDuplicated();
    const VLR_String& UniqueDocumentID() const { return uniqueDocumentID; }
    const VLR_String& PartnerDocumentID() const { return partnerDocumentID; }

    // Other queries

    bool KeepEncrypted() const { return keepEncrypted; }
    void* ReferenceConstant() const { return referenceConstant; }
    uint32_t OpenDate() const { return openDate; }
    uint32_t PreviousOpenDate() const { return previousOpenDate; }
    void SortParams(VLR_SortField& field, bool& descending) const;

    /// Changes the order in which records compare; sorts nothing.
    void SetSortParams(VLR_SortField field, bool descending);

    /// True if the background is so dark that text on it must be white.
    bool RenderTextWhite() const;

    /// Identity, records with checksums, and deletions, as text for people.
    VLR_String Description() const;

    static constexpr char kNilStream[] = "nil stream";
    static constexpr char kStreamNotReset[] = "stream not reset for writing document.";
    static constexpr char kNoReferenceBuffer[] = "no original reference buffer to write";
    static constexpr char kExpectedReferenceBuffer[] = "expected blowfish reference buffer";
    static constexpr char kExpectedPreferences[] = "expected document preferences";
    static constexpr char kExpectedDeletionList[] = "expected deletion list";
    static constexpr char kExpectedSyncInformation[] = "expected global sync information";
    static constexpr char kExpectedRecord[] = "expected password record data";
    static constexpr char kCantConvert[] = "can't convert without decrypt";
    static constexpr char kUnknownPreferencesVersion[] = "unknown document preferences version";

    // Fields that the merge engine and front ends work on directly.

    VLR_Array<VLR_Deletion> deletionList; // in order of entry
    void* referenceConstant = nullptr; // a host's handle
    VLR_MemoryBlock referenceBuffer; // as read from the file; emptied once a password has been verified
    VLR_String uniqueDocumentID; // this file's identity
    VLR_String partnerDocumentID; // the identity of the document last synchronised with
    VLR_Categories categories { this };
    VLR_Browser browsers { this };
    VLR_Select select { *this };
    VLR_Array<VLR_PasswordData> recordList;
    VLR_Array<VLR_PasswordData> viewableList; // the records that the current find lets through
    VLR_Search search; // the current find

    // Preferences. All but the sort order and the background are carried for front ends.

    uint32_t previousOpenDate = 0;
    uint32_t openDate; // when this object was made
    uint32_t documentStamp = 0x4FB13A5B;
    uint32_t sortParams = VLR_SortTitle; // low 31 bits the field, top bit set for descending
    int8_t documentFlagOverridable;
    int8_t documentFlagC = 0;
    int8_t documentFlagA = 0;
    int8_t documentFlagB = 0;
    VLR_Color backgroundColor { 0xEF60, 0xF3DB, 0xFE47 };
    VLR_Rect documentRect;

private:
    enum class RecordRead {
        Whole,
        Damaged,
        None
    };
    enum class PromptOutcome {
        Fits,
        NoneFits,
        Refused
    };

    uint32_t ReadVersion4FileContentsCompletion();
    uint32_t ReadVersion3FileContentsCompletion();
    uint32_t ReadVersion1or2FileContentsCompletion();
    template <class Read>
    bool AppendOlderRecord(Read read);
    void ReadDeletionList();
    RecordRead ReadNextRecord(VLR_MemoryBlock& block);
    bool ReadRecordTag();
    void FindNextRecord();
    void WriteReferenceBuffer();
    void WriteDeletionList();
    void WriteRecords();
    uint64_t DeletionListLength() const;
    void SetSearch(VLR_SearchKind kind, const VLR_String& text, bool addToResults);
    void ListAsDeleted(VLR_PasswordData& record);

    bool PasswordFits(const VLR_String& candidate, bool padToKeyLength);
    bool ExpressPasswordFits(VLR_String& candidate);
    PromptOutcome PromptForPassword(VLR_String& candidate, bool padToKeyLength);
    PromptOutcome AskInDialog(VLR_String& candidate, bool fromKeychain, bool padToKeyLength);

    bool keepEncrypted;
    bool passwordChangedSinceOpen = false;
    VLR_Stream* stream = nullptr;
    VLR_BlowFish docFish;
    VLR_String password;
    VLR_HalfReadFlagType halfReadFlag = VLR_HalfReadOff;
    uint32_t fileVersion = 5; // which completion is due; 5 is due to none
    VLR_ReadCompletionData* readCompletionData = nullptr;
    VLR_AskPasswordReadStyle askPasswordReadStyle {};
    VLR_String spareDocumentString; // neither read nor written
    VLR_TitleIndex titles { recordList };
};

/// Puts a stream of some scope under a document and takes it away again, also on a failure.
class StVLR_DocumentStream {
public:
    StVLR_DocumentStream(VLR_Document& document, VLR_Stream* stream)
        : document(document)
    {
        document.SetStream(stream);
    }
    ~StVLR_DocumentStream() { document.SetStream(nullptr); }
    StVLR_DocumentStream(const StVLR_DocumentStream&) = delete;
    StVLR_DocumentStream& operator=(const StVLR_DocumentStream&) = delete;

private:
    VLR_Document& document;
};
