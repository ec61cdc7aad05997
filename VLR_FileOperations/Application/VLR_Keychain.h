#pragma once

#include <chrono>
#include <string>

class VLR_Document;
class VLR_String;

/// Master passwords in the desktop's secret service, each under the identity of its document, from where
/// VLR_System::KeychainPassword takes them. A copy of a vault file that has not got an identity of its own yet shares
/// the entry.
///
/// Each operation answers whether it did what it says. It fails in the same way for a document without identity, on a
/// machine without session bus or service, at the user's refusal, and when its time is up; the program goes on without.
/// A password stands in no memory of ours but the caller's: the library holds it in memory that is locked and wiped.
namespace VLR_Keychain {

/// Keeps a password in the user's default keychain, in place of one that is there. `label` is what the user reads in
/// the desktop's list of passwords, in the clear: the file's name, say. The desktop may ask the user to unlock or make
/// the keychain first.
[[nodiscard]] bool StorePassword(const VLR_Document& document, const VLR_String& password, const std::string& label);

/// False if there was no entry, too.
[[nodiscard]] bool ForgetPassword(const VLR_Document& document);

/// How long the service may take. Looking up never makes the desktop ask the user anything: a locked keychain counts
/// as one without the entry, as the program's own dialog comes next anyway.
struct TimeOuts {
    std::chrono::milliseconds lookUp { 5000 };
    std::chrono::milliseconds change { 60000 }; // storing and forgetting: time for the user to unlock
};
void SetTimeOuts(const TimeOuts& timeOuts);

} // namespace VLR_Keychain
