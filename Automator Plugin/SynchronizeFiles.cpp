#include "SynchronizeFiles.h"

#include "ExtraStringUtilities.h"
#include "Interruption.h"
#include "NSAlert.h"
#include "NSAssertionHandler.h"
#include "NSBundle.h"
#include "NSException.h"
#include "NSFileManager.h"
#include "NSURL.h"
#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_GatheringStream.h"
#include "VLR_Synchronize.h"
#include "VLR_SystemConversions.h"
#include "VLR_Utility.h"

#include <chrono>
#include <cstdio>
#include <new>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kExpectedFiles = 2;

constexpr char kWrongInput[] = "Don't understand input of type: %@\n";
constexpr char kWrongCount[] = "Expected only two files as input. Found %d.  It's possible one of the input files "
                               "could not be found by Automator.";
constexpr char kCantFind[] = "Can't find file: %@";
constexpr char kSameFile[] = "Can't synchronize a file with itself!";
constexpr char kMastersDiffer[] = "Master passwords of both files must be identical.";

/// The pattern with its one placeholder filled.
std::string filled(const std::string& pattern, const char* placeholder, const std::string& text)
{
    std::string result = pattern;
    return result.replace(result.find(placeholder), 2, text);
}

/// Name: the code. Reason: the place where it was raised; the message has gone to the log.
NSException platformException(const VLR_Exception& exception)
try {
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, " (%d:0x%x)", exception.line, static_cast<unsigned int>(exception.code));
    return NSException(std::to_string(exception.code),
        VLRToSys(VLR_Utility::LastPathComponent(exception.file)) + ":" + VLRToSys(exception.function) + numbers);
} catch (const VLR_Exception&) {
    throw std::bad_alloc(); // there is no memory for the reason either
}

VLR_ForeignBytes bytesOf(const VLR_MemoryBlock& block)
{
    return { block.Bytes(), block.Length() };
}

template <class T>
class StReset {
public:
    explicit StReset(std::unique_ptr<T>& owner)
        : owner(owner)
    {
    }
    ~StReset() { owner.reset(); }
    StReset(const StReset&) = delete;
    StReset& operator=(const StReset&) = delete;

private:
    std::unique_ptr<T>& owner;
};

} // namespace

void pauseUnlessInterrupted()
{
    sleepUnlessInterrupted(std::chrono::milliseconds(5));
}

SynchronizeFiles::SynchronizeFiles(const SynchronizeFilesHost& host)
    : host(host)
{
}

std::string SynchronizeFiles::runWithInput(const AMInput& input, AMBundleAction*, AMErrorDictionary& error)
{
    locks_ = std::make_unique<DocumentLock>(host.conduit.locks);
    const StReset<DocumentLock> atTheEnd(locks_);
    return runGuarded(input, error);
}

std::string SynchronizeFiles::runGuarded(const AMInput& input, AMErrorDictionary& error)
{
    try {
        try {
            synchronize(checkedInput(input));
            return kSuccess;
        } catch (const VLR_Exception& exception) {
            throw platformException(exception);
        }
    } catch (const NSException& exception) {
        error = errorDictionaryForException(exception);
        return error.message;
    }
}

/// Nothing has been told to anybody before these checks are passed.
SynchronizeFiles::Pair SynchronizeFiles::checkedInput(const AMInput& input) const
{
    const auto fail = [](const std::string& reason) {
        NSAssertionHandler::handleFailureInMethod("-[SynchronizeFiles runWithInput:fromAction:error:]", reason);
    };
    const std::vector<std::string>* const paths = input.list();
    if (paths == nullptr)
        fail(filled(kWrongInput, "%@", input.className()));
    if (paths->size() != kExpectedFiles)
        fail(filled(kWrongCount, "%d", std::to_string(paths->size())));

    Pair pair { NSURL::fileURLWithPath((*paths)[0]), NSURL::fileURLWithPath((*paths)[1]) };
    for (const NSURL* const url : { &pair.first, &pair.second }) {
        if (!host.conduit.files.fileExistsAtPath(url->path()))
            fail(filled(kCantFind, "%@", url->path()));
    }
    const FSRef first = ExtraStringUtilities::FSRefWithPath(pair.first.path());
    const FSRef second = ExtraStringUtilities::FSRefWithPath(pair.second.path());
    if (FSCompareFSRefs(first, second) == 0)
        fail(kSameFile);
    return pair;
}

void SynchronizeFiles::synchronize(const Pair& pair)
{
    handOff(pair.first);
    handOff(pair.second);

    // Only now, with both files let go and locked, are their bytes looked at.
    // The records of both documents borrow from both.
    NSFileManager& files = host.conduit.files;
    const std::optional<NSData> firstBytes = files.dataWithContentsOfFile(pair.first.path());
    const std::optional<NSData> secondBytes = files.dataWithContentsOfFile(pair.second.path());
    VLR_MemoryBlock firstBlock;
    SysToVLR(firstBytes, firstBlock);
    VLR_MemoryBlock secondBlock;
    SysToVLR(secondBytes, secondBlock);
    VLR_MemoryStream firstStream(firstBlock);
    VLR_MemoryStream secondStream(secondBlock);
    VLR_Document firstDocument(VLR_DocumentReadKeepEncrypted);
    VLR_Document secondDocument(VLR_DocumentReadKeepEncrypted);
    firstDocument.SetStream(&firstStream);
    secondDocument.SetStream(&secondStream);
    firstDocument.ReadVersion4FileContents(VLR_AskPasswordUseDocumentPassword);
    secondDocument.ReadVersion4FileContents(VLR_AskPasswordUseDocumentPassword);
    const VLR_Synchronize merge(firstDocument, secondDocument, VLR_SyncMerge);

    // Most of what is written stands in what was read.
    const std::vector<VLR_ForeignBytes> sources { bytesOf(firstBlock), bytesOf(secondBlock) };
    VLR_GatheringStream newFirst(sources);
    writeFile(firstDocument, newFirst, pair.first.path());
    VLR_GatheringStream newSecond(sources);
    writeFile(secondDocument, newSecond, pair.second.path());
}

/// The sender goes to the host's autorelease scope, which gives back the lock and sends the stop event.
void SynchronizeFiles::handOff(const NSURL& url)
{
    firstLockAttempt_ = true;
    ConduitSynchronizeSender::conduitSynchronizeSenderWithFilePath(url.urlString(), *this, host.conduit);
}

/// No rollback: a failure here leaves the other file as it is, old or new.
void SynchronizeFiles::writeFile(VLR_Document& document, VLR_GatheringStream& stream, const std::string& path) const
{
    const StVLR_DocumentStream whileWriting(document, &stream);
    document.WriteVersion4Contents();
    std::vector<NSData::ByteRange> ranges;
    for (const VLR_ForeignBytes& piece : stream.Pieces())
        ranges.push_back({ piece.bytes, piece.length });
    host.conduit.files.writeToFile(NSData::dataWithRangesNoCopy(std::move(ranges)), path);
    ExtraStringUtilities::setType(path, kTypeCode, kCreatorCode);
}

bool SynchronizeFiles::startSyncIdling(int64_t)
{
    if (!firstLockAttempt_)
        host.pauseBetweenLockAttempts();
    firstLockAttempt_ = false;
    return true;
}

void SynchronizeFiles::fileToFileSyncError(const NSException& exception)
{
    const NSBundle& bundle = NSBundle::mainBundle();
    NSAlert alert;
    alert.messageText = bundle.localizedStringForKey("Synchronization Failed!");
    alert.defaultButton = bundle.localizedStringForKey("OK");
    alert.informativeText = exception.reason();
    host.alerts.runModal(alert);
}

AMErrorDictionary SynchronizeFiles::errorDictionaryForString(const std::string& reason)
{
    return { kScriptingSystemError, "<" + reason + ">" };
}

AMErrorDictionary SynchronizeFiles::errorDictionaryForException(const NSException& exception)
{
    // The sentence for people is looked up and dropped: hosts match on the place and code of the failure instead.
    if (exception.name() == std::to_string(VLR_ExceptionMastersIncompatible))
        static_cast<void>(NSBundle::mainBundle().localizedStringForKey(kMastersDiffer));
    return errorDictionaryForString(exception.reason());
}
