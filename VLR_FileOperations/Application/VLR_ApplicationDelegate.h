#pragma once

class VLR_Document;
class VLR_PasswordData;
class VLR_String;

/// What a program with a user supplies to this host: its password dialog, and a handle of its own on each record.
///
/// The core calls on its one thread, and the delegate may call the core in turn. A failure that a delegate raises
/// passes out of the core's operation to the program.
class VLR_ApplicationDelegate {
public:
    virtual ~VLR_ApplicationDelegate() = default;

    /// Asks the user for the password of a document that is being opened; waits as long as the user takes. False: the
    /// user gave up, and the opening ends with code VLR_ExceptionCancelled.
    ///
    /// `password` comes in with the last wrong answer or, if `prefilled`, with a proposal from the keychain; it goes
    /// out with the new answer. It wipes itself; copies that the dialog makes are the dialog's to wipe. The document
    /// is half read: identity and preferences are there, records are not.
    virtual bool askOnePassword(VLR_String& password, const VLR_Document* document, bool prefilled) = 0;

    /// A record is being made: the place to give it a SetReferenceConstant. Its fields hold nothing but dates yet.
    virtual void makeReferenceConstant(VLR_PasswordData* record);

    /// A record is about to go: the place to free what makeReferenceConstant made. Called from the destructor, so it
    /// may not raise.
    virtual void freeReferenceConstant(VLR_PasswordData* record) noexcept;
};

/// Puts a delegate in place, which stays the program's own, and returns the one before; null for none. Each record sees
/// the delegates of its first and its last moment: who makes reference constants stays until all records are gone.
VLR_ApplicationDelegate* VLR_SetApplicationDelegate(VLR_ApplicationDelegate* delegate);
