#pragma once

#include "VLR_CharacterSet.h"
#include "VLR_Range.h"

#include <cstdint>

class VLR_Document;
class VLR_MemoryBlock;
class VLR_OSFile;
class VLR_PasswordData;
class VLR_String;

/// Keys of application preferences.
enum VLRPref_Type : int32_t {
    VLRPref_DocumentFlagOverride = 1, // 2 forces a document's overridable flag off, 1 forces it on
    VLRPref_UseKeychainPassword = 2, // not 0: a password found in the keychain is tried without asking
    VLRPref_TrackLastUsedDate = 3 // 0: last-used dates are not kept
};

/// The text files that the password generators read.
enum VLR_FilePathType : int32_t {
    VLR_FilePathDictionaryShort = 0,
    VLR_FilePathDictionary = 1,
    VLR_FilePathPhonemes = 2
};

/// Kinds of message to a running application. 0: a record's last-used date has changed; the data is its document.
using VLR_RunningAppMessage = int32_t;

/// Everything that the core asks of the world outside it. Memory, text, time and identities are the same for every
/// host; preferences, keychain, dialogs and random numbers are each host's own, chosen by what is linked.
class VLR_System {
public:
    VLR_System() = delete;

    // Memory

    /// `n` zero bytes between guards (VLR_Guards.h). Never null, for n = 0 either.
    /// Raises: kCantAllocate if the platform has no memory, or if n and the framing pass 32 bits.
    static unsigned char* Allocate(unsigned int n);

    /// Checks the guards and releases the storage without wiping it, which is the block's duty. Null does nothing.
    static void Free(unsigned char* payload);

    /// Source and destination may overlap.
    static void MemCopy(void* destination, const void* source, unsigned int n);
    static void MemSet(void* destination, int value, unsigned int n);

    /// Zeroes with stores that the compiler can't drop.
    static void MemWipe(void* destination, unsigned int n);

    /// The difference of the first unequal bytes, taken as unsigned, else 0.
    static int32_t MemCompare(const void* a, const void* b, unsigned int n);

    // Log: one channel, a line per call

    static void Log(const char* a, const char* b, const char* c, int d);

    /// The four pieces joined and followed by blanks. A null piece adds nothing, but its blank stays.
    static void Log(const char* a, const char* b, const char* c, const char* d);

    /// The text and a blank, both left out if the text is empty, and the value.
    static void Log(const char* text, const VLR_String& value);

    // Text (VLR_String.h tells how texts compare)

    /// Replaces what `to` held by the text of `from` in another encoding. Output ends at the first character that
    /// `toSet` cannot express. UTF-8 goes to UTF-8 byte by byte, valid or not; on the way to another set the text ends
    /// at the first byte that is not valid. Bytes above 0x7F in ASCII and unpaired surrogates in UTF-16 become U+FFFD,
    /// so that one of them does not cost the rest of a note; an odd last byte of UTF-16 is dropped.
    /// Raises: kUnknownEncoding for a set outside 1 to 5, on either side.
    static void ConvertString(
        const VLR_MemoryBlock& from, VLR_CharacterSetType fromSet, VLR_MemoryBlock& to, VLR_CharacterSetType toSet);

    static uint32_t CStringLength(const char* text);
    static int16_t CStringCompare(const char* a, const char* b);
    static int16_t CStringCompare(const char* a, const char* b, unsigned int n);

    /// Copies at most n bytes, fills up with zeros, and always writes a terminator at destination[n]: n + 1 bytes.
    static char* CStringCopy(char* destination, const char* source, unsigned int n);

    /// -1, 0 or 1.
    static int32_t CompareStrings(const VLR_String& a, const VLR_String& b, VLR_StringComparisonType type);

    /// Equal for texts that compare equal; keyed anew in each process, so that a hostile file can't choose collisions.
    static uint64_t HashString(const VLR_String& text, VLR_StringComparisonType type);

    /// Appends bytes that stand for the text in comparisons: of two texts, the one with the lesser bytes (the shorter
    /// one if it begins the longer) compares as the lesser, and equal bytes are equal texts.
    static void AppendComparisonKey(const VLR_String& text, VLR_StringComparisonType type, VLR_MemoryBlock& to);

    /// A handle to the text's platform form, to be given back with SystemRepresentationDealloc.
    static void* SystemRepresentationAlloc(const VLR_String& text);
    static void SystemRepresentationDealloc(void* representation);

    /// First match within a range in code units of the text as stored, or kVLR_RangeNotFound. A match begins and ends
    /// between characters: a base letter is not found in its accented form, nor an "s" in a sharp s. Folding can make
    /// the match longer or shorter than what is searched for. Empty or invalid texts are never found.
    /// Raises: the platform's range failure (std::out_of_range) for a range past the end of the text.
    static VLR_Range FindRangeOfString(
        const VLR_String& text, const VLR_String& search, const VLR_Range& within, VLR_StringComparisonType type);
    static VLR_Range FindRangeOfString(const VLR_String& text, const VLR_String& search, VLR_StringComparisonType type);

    /// Length in UTF-16 code units; 0 if the bytes are not valid UTF-8.
    static uint32_t LengthOfString(const VLR_String& text);

    /// Stores the result by assignment, which drops a cached representation.
    /// Raises: the platform's range failure, for a text that is not valid UTF-8 too.
    static void ReplaceRangeOfString(VLR_String& text, const VLR_String& replacement, const VLR_Range& range);

    /// The code units of the range, up to the first zero unit.
    /// Raises: code VLR_ExceptionInternal for a range past the length in bytes, or refused by the platform.
    static VLR_String SubstringOfRange(const VLR_String& text, const VLR_Range& range);

    static unsigned short PathSeparator();

    /// By assignment too. Text that is not valid UTF-8 stays as it is.
    static void LowercaseString(VLR_String& text);

    // Time, identities, resources

    /// Whole seconds since 2001-01-01 00:00:00 UTC, the unit of all dates in memory.
    static uint32_t SecondsSince2001();

    /// A random identifier: 36 characters, upper case.
    static VLR_String NewUUID();

    /// The same identifier for the same arguments, for records that come without one.
    static VLR_String NewUUID(unsigned int a, unsigned char b, unsigned short c);

    /// The absolute path of a resource. Raises: code VLR_ExceptionFile for an unknown type.
    static VLR_String StdioPathToFile(VLR_FilePathType type);

    static void Beep();

    /// A password for the next document to be opened, or null. Owned here and wiped when replaced.
    static const VLR_String* ExpressOpenPassword();
    static void SetExpressOpenPassword(const VLR_String* password);
    static void SetExpressOpenPassword(const VLR_String& password);

    // The host's own answers (docs/architecture.md, "Hosts")

    static int32_t GetPreference(VLRPref_Type key, int defaultValue);

    /// True with a password that was stored for the document and may be out of date; false leaves `password` as it was.
    static bool KeychainPassword(VLR_String& password, VLR_Document* document);

    /// `prefilled` says that `password` holds a proposal. False: the user gave up.
    static bool DialogAskOnePassword(VLR_String& password, const VLR_Document* document, bool prefilled);

    /// A number below `bound`. Raises: code VLR_ExceptionInternal if the host's source fails.
    static uint32_t RandomUInt32(unsigned int bound);

    /// Tells another program, if one runs; never fails its caller.
    static void SendMessageToRunningApp(VLR_RunningAppMessage message, void* data);

    /// 0, or a code of VLR_ExceptionCodeType for the caller to raise.
    static int32_t ReadFromOSFile(VLR_OSFile& file);

    /// Called when a record is made, and when it is destroyed.
    static void AlloctatePasswordDataReferenceConstant(VLR_PasswordData* record);
    static void FreePasswordDataReferenceConstant(VLR_PasswordData* record);

    static constexpr char kCantAllocate[] = "Can't allocate";
    static constexpr char kUnknownEncoding[] = "unknown from encoding";
};

/// Representations made by SystemRepresentationAlloc and not yet given back. For inspection only.
extern uint32_t gSystemRepresentationLeakDetector;

/// The held express password, see VLR_System::ExpressOpenPassword.
extern VLR_String* gExpressOpenPassword_;
