#include "StagedFiles.h"

#include "ExitStatus.h"
#include "FileReplacement.h"
#include "Interruption.h"

#include <new>
#include <optional>
#include <utility>

struct StagedFiles::Entry {
    Entry(FileSystemCalls& calls, const std::string& path)
        : path(path)
        , replacement(calls, path)
    {
    }

    const std::string path;
    FileReplacement replacement;
    bool isReplaced = false;
    std::string reasonNotTakenBack;
};

namespace {

constexpr char kNothingChanged[] = "; no file was changed";
constexpr char kOthersUnchanged[] = "; nothing else was changed, and the next run ends what was begun";

[[noreturn]] void fail(const std::string& path, const std::string& reason)
{
    throw CommandFailure(kFailed, path + ": " + reason + kNothingChanged);
}

} // namespace

StagedFiles::StagedFiles()
    : calls_(fileSystemCalls())
    , files_(calls_)
{
}

StagedFiles::~StagedFiles() = default;

NSData StagedFiles::read(const std::string& path)
{
    std::optional<NSData> data = files_.dataWithContentsOfFile(path);
    if (!data)
        fail(path, "can't be read");
    return *data;
}

NSData StagedFiles::stage(const std::string& path, const NSData& bytes)
{
    try {
        auto entry = std::make_unique<Entry>(calls_, path);
        entry->replacement.write(bytes);
        entries_.push_back(std::move(entry));
    } catch (const FileSystemFailure& failure) {
        fail(path, "the new content can't be written beside it: " + failure.reason);
    }
    return read(newPath());
}

std::string StagedFiles::newPath() const
{
    return entries_.back()->replacement.newPath();
}

void StagedFiles::discard(const std::string& path)
{
    std::erase_if(entries_, [&](const auto& entry) { return entry->path == path; });
}

void StagedFiles::commit()
{
    throwIfInterrupted();
    try {
        forEach(&StagedFiles::expectAsRead);
        forEach(&StagedFiles::replace);
        forEach(&StagedFiles::syncFolder);
    } catch (const FileSystemFailure& failure) {
        takeBackReplaced("", failure.reason);
        throw CommandFailure(kFailed, failure.reason + kNothingChanged);
    } catch (const FileChanged& changed) {
        takeBackReplaced(changed.path, ": somebody else has changed it meanwhile");
        throw;
    } catch (...) {
        takeBackReplaced("", "the replacement could not be ended");
        throw;
    }
    entries_.clear(); // with the old files
}

/// Raises: FileSystemFailure, with the path in front of its reason.
void StagedFiles::forEach(void (StagedFiles::*step)(Entry&))
{
    for (const std::unique_ptr<Entry>& entry : entries_) {
        try {
            (this->*step)(*entry);
        } catch (const FileSystemFailure& failure) {
            throw FileSystemFailure { entry->path + ": " + failure.reason, failure.isReplaced };
        }
    }
}

void StagedFiles::expectAsRead(Entry& entry)
{
    const std::optional<struct stat> present = entry.replacement.presentFile();
    if (!present || !files_.isAsRead(entry.path, *present))
        throw FileChanged(entry.path);
}

/// Looks again at what has been replaced: between the first look and the replacement there is a moment.
void StagedFiles::replace(Entry& entry)
{
    entry.replacement.commitKeepingOld([&] { expectAsRead(entry); });
    entry.isReplaced = true;
    const std::optional<struct stat> replaced = entry.replacement.replacedFile();
    if (replaced && !files_.isAsRead(entry.path, *replaced))
        throw FileChanged(entry.path);
}

void StagedFiles::syncFolder(Entry& entry)
{
    entry.replacement.syncFolder();
}

/// Needs no memory as long as all can be taken back. Raises: CommandFailure (kHalfWritten) if not.
void StagedFiles::takeBackReplaced(std::string_view path, std::string_view reason)
{
    bool isAllOld = true;
    for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry)
        isAllOld = takeBack(**entry) && isAllOld;
    if (isAllOld)
        return;
    std::string text;
    try {
        text.append(path).append(reason).append(whatIsNew()).append(kOthersUnchanged);
    } catch (const std::bad_alloc&) {
        text = "out of memory"; // short enough to need none
    }
    throw CommandFailure(kHalfWritten, std::move(text));
}

bool StagedFiles::takeBack(Entry& entry) noexcept
{
    if (!entry.isReplaced)
        return true;
    try {
        entry.replacement.takeBack();
        entry.isReplaced = false;
        entry.replacement.syncFolder(); // if not, a crash of the system leaves the old file or the new one
    } catch (FileSystemFailure& failure) {
        entry.reasonNotTakenBack = std::move(failure.reason);
    } catch (const std::bad_alloc&) {
        entry.reasonNotTakenBack = "out of memory";
    }
    return !entry.isReplaced;
}

std::string StagedFiles::whatIsNew() const
{
    std::string text;
    for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
        if ((*entry)->isReplaced)
            text += "; " + (*entry)->path + " has its new content already, as it can't be taken back ("
                + (*entry)->reasonNotTakenBack + ")";
    }
    return text;
}
