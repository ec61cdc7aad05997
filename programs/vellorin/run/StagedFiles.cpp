#include "StagedFiles.h"

#include "ExitStatus.h"
#include "FileReplacement.h"
#include "Interruption.h"

#include <optional>

struct StagedFiles::Entry {
    Entry(FileSystemCalls& calls, const std::string& path)
        : path(path)
        , replacement(calls, path)
    {
    }

    const std::string path;
    FileReplacement replacement;
    bool isReplaced = false;
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
        takeBackReplaced(failure.reason);
        throw CommandFailure(kFailed, failure.reason + kNothingChanged);
    } catch (const FileChanged& changed) {
        takeBackReplaced(changed.path + ": somebody else has changed it meanwhile");
        throw;
    } catch (...) {
        takeBackReplaced("the replacement could not be ended");
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

/// Raises: CommandFailure (kHalfWritten) if not all could be taken back.
void StagedFiles::takeBackReplaced(const std::string& reason)
{
    std::string outcome;
    for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
        if (!(*entry)->isReplaced)
            continue;
        try {
            (*entry)->replacement.takeBack();
            (*entry)->isReplaced = false;
            (*entry)->replacement.syncFolder(); // if not, a crash of the system leaves the old file or the new one
        } catch (const FileSystemFailure& failure) {
            if ((*entry)->isReplaced)
                outcome += "; " + (*entry)->path + " has its new content already, as it can't be taken back ("
                    + failure.reason + ")";
        }
    }
    if (!outcome.empty())
        throw CommandFailure(kHalfWritten, reason + outcome + kOthersUnchanged);
}
