#include "Journal.h"

#include "ExitStatus.h"
#include "FileReplacement.h"
#include "FileSteps.h"
#include "JournalEntry.h"
#include "Leftovers.h"
#include "NSFileManager.h"
#include "NSLog.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <string_view>

#include <fcntl.h>
#include <gcrypt.h>
#include <pwd.h>
#include <sys/random.h>
#include <unistd.h>

namespace {

constexpr char kExtension[] = ".json";
constexpr std::size_t kPruneEvery = 50; // entries
constexpr std::size_t kIdLength = 36; // as JournalRun shows
constexpr std::size_t kTemporaryEnd = 17; // what stands behind a name's part in that of a temporary file
constexpr std::time_t kYoungSeconds = 3600;
constexpr char kHexDigits[] = "0123456789abcdef";
constexpr int kUnlikelyYear = 9999; // an id must not become longer
constexpr char kOfNoUse[] = "; without a journal nothing is synchronised";

std::string homeFolder()
{
    const char* const home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/')
        return home;
    const passwd* const user = ::getpwuid(::geteuid());
    return user != nullptr ? user->pw_dir : "";
}

std::string folderOfUser()
{
    const char* const state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && state[0] == '/')
        return std::string(state) + "/vellorin/journal";
    const std::string home = homeFolder();
    return home.empty() ? "" : home + "/.local/state/vellorin/journal";
}

[[noreturn]] void fail(const std::string& path, const std::string& reason)
{
    throw CommandFailure(kFailed, "journal " + path + ": " + reason + kOfNoUse);
}

/// Makes the name of a new folder last; without that it goes again, as the next run would take it for one that lasts.
void syncNameOf(FileSystemCalls& calls, const std::string& path)
{
    const StDescriptor parent(calls, calls.openAt(AT_FDCWD, folderOf(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (parent.value < 0 && errno == EACCES) // who may not read a folder can't sync it
        return;
    if (parent.value >= 0 && (syncToItsEnd(calls, parent.value) || errno == EINVAL)) // some know no such sync
        return;
    const int error = errno;
    calls.removeFolderAt(AT_FDCWD, path);
    fail(path, std::strerror(error));
}

/// Each folder on the way that isn't there, for this user alone.
void makeFolders(FileSystemCalls& calls, const std::string& path)
{
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string part = path.substr(0, end);
        if (calls.makeFolderAt(AT_FDCWD, part, 0700) == 0)
            syncNameOf(calls, part);
        else if (errno != EEXIST && end == std::string::npos)
            fail(part, std::strerror(errno));
        if (end == std::string::npos)
            return;
    }
}

/// A temporary file whose maker was killed. Young ones stay: many write at once, and may not have marked theirs yet.
void removeIfLeftOver(FileSystemCalls& calls, int folder, const std::string& name)
{
    struct stat status { };
    if (name[0] != '.' || name.size() <= kTemporaryEnd + 1
        || calls.statAt(folder, name, status, AT_SYMLINK_NOFOLLOW) != 0
        || status.st_mtim.tv_sec > std::time(nullptr) - kYoungSeconds)
        return;
    removeLeftoverFiles(calls, folder, name.substr(1, name.size() - kTemporaryEnd - 1));
}

bool isId(const std::string& text)
{
    constexpr std::string_view kForm = "0000-00-00T00:00:00.000000Z-xxxxxxxx";
    static_assert(kForm.size() == kIdLength);
    const auto fits = [](char c, char form) {
        const bool isDigit = c >= '0' && c <= '9';
        return form == '0' ? isDigit : form == 'x' ? isDigit || (c >= 'a' && c <= 'f') : c == form;
    };
    return std::equal(text.begin(), text.end(), kForm.begin(), kForm.end(), fits);
}

/// The time in an id, since 1970; 0 for a year that no clock shows.
int64_t microsecondsOf(const std::string& id)
{
    std::tm utc {};
    if (::strptime(id.c_str(), "%Y-%m-%dT%H:%M:%S", &utc) == nullptr || utc.tm_year >= kUnlikelyYear - 1900)
        return 0;
    return int64_t { ::timegm(&utc) } * 1000000 + std::stoi(id.substr(20, 6));
}

} // namespace

const JournalFile* JournalRun::file(const std::string& path) const
{
    const auto found = std::find_if(files.begin(), files.end(), [&](const auto& file) { return file.path == path; });
    return found != files.end() ? &*found : nullptr;
}

std::string JournalRun::time() const
{
    return id.substr(0, 10) + " " + id.substr(11, 8) + " UTC";
}

bool leftWithHash(const JournalRun& run, const JournalFile& file, const std::string& hash)
{
    switch (run.state) {
    case JournalRun::State::Done: return hash == file.hashAfter;
    case JournalRun::State::Undone: return hash == file.hashBefore;
    case JournalRun::State::Begun:
    case JournalRun::State::HalfDone:
    case JournalRun::State::UndoBegun: break;
    }
    return hash == file.hashAfter || hash == file.hashBefore;
}

Journal::Journal()
    : Journal(folderOfUser())
{
}

Journal::Journal(std::string folder)
    : folder_(std::move(folder))
{
}

std::string Journal::newId() const
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    int64_t microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    if (const std::optional<JournalRun> newest = newestRun())
        microseconds = std::max(microseconds, microsecondsOf(newest->id) + 1);
    const std::time_t seconds = microseconds / 1000000;
    std::tm utc {};
    ::gmtime_r(&seconds, &utc);
    uint32_t random = 0;
    if (::getrandom(&random, sizeof random, 0) != sizeof random)
        fail(folder_, "no random number");
    std::array<char, 32> time {};
    std::strftime(time.data(), time.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::array<char, 32> rest {};
    std::snprintf(rest.data(), rest.size(), ".%06dZ-%08x", static_cast<int>(microseconds % 1000000), random);
    return std::string(time.data()) + rest.data();
}

void Journal::makeFolder() const
{
    if (folder_.empty())
        fail("of a user without a home", "there is no folder for it");
    struct stat status { };
    if (fileSystemCalls().statAt(AT_FDCWD, folder_, status, 0) != 0)
        makeFolders(fileSystemCalls(), folder_);
}

std::string Journal::pathOf(const std::string& id) const
{
    return folder_ + "/" + id + kExtension;
}

void Journal::write(const JournalRun& run)
{
    makeFolder();
    const std::string text = textOf(run);
    bool isNew = false;
    try {
        FileReplacement entry(fileSystemCalls(), pathOf(run.id));
        entry.write(NSData::dataWithBytesNoCopy(text.data(), text.size()));
        entry.commit();
        entry.syncFolder();
        isNew = !entry.oldFile();
    } catch (const FileSystemFailure& failure) {
        fail(pathOf(run.id), failure.reason);
    }
    if (isNew)
        prune();
}

void Journal::remove(const std::string& pathOfEntry) noexcept
{
    fileSystemCalls().unlinkAt(AT_FDCWD, pathOfEntry);
}

std::vector<std::string> Journal::idsNewestFirst() const
{
    FileSystemCalls& calls = fileSystemCalls();
    const StDescriptor folder(calls, calls.openAt(AT_FDCWD, folder_, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    std::vector<std::string> names;
    if (folder.value < 0 || calls.namesIn(folder.value, names) != 0)
        return {};
    std::vector<std::string> ids;
    for (const std::string& name : names) {
        if (name.ends_with(kExtension) && isId(name.substr(0, name.size() - std::strlen(kExtension))))
            ids.push_back(name.substr(0, kIdLength));
    }
    std::sort(ids.rbegin(), ids.rend());
    return ids;
}

std::optional<JournalRun> Journal::readRun(const std::string& id) const
{
    const std::optional<NSData> data = LinuxFileManager().dataWithContentsOfFile(pathOf(id));
    if (!data)
        return std::nullopt; // pruned meanwhile, or not to be read
    std::optional<JournalRun> run
        = runOfText(std::string(reinterpret_cast<const char*>(data->bytes()), data->length()));
    if (!run || run->id != id) {
        NSLog("journal: " + pathOf(id) + " is damaged and left out");
        return std::nullopt;
    }
    return run;
}

void Journal::visit(const std::function<bool(const JournalRun&)>& isEnough) const
{
    for (const std::string& id : idsNewestFirst()) {
        const std::optional<JournalRun> run = readRun(id);
        if (run && isEnough(*run))
            return;
    }
}

std::vector<JournalRun> Journal::runsOf(const std::string& path, std::size_t most) const
{
    std::vector<JournalRun> runs;
    visit([&](const JournalRun& run) {
        if (run.file(path) != nullptr && runs.size() < most)
            runs.push_back(run);
        return runs.size() >= most;
    });
    return runs;
}

std::optional<JournalRun> Journal::newestRun() const
{
    std::optional<JournalRun> newest;
    visit([&](const JournalRun& run) {
        newest = run;
        return true;
    });
    return newest;
}

/// Takes away the runs of which each file has newer ones enough, and what killed programs have left. What can't be
/// removed stays.
void Journal::prune() const
{
    FileSystemCalls& calls = fileSystemCalls();
    const StDescriptor folder(calls, calls.openAt(AT_FDCWD, folder_, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    std::vector<std::string> names;
    if (folder.value < 0 || calls.namesIn(folder.value, names) != 0)
        return;
    if (names.size() <= kRunsKept || names.size() % kPruneEvery != 0) // it reads all of them
        return;
    for (const std::string& name : names)
        removeIfLeftOver(calls, folder.value, name);
    std::map<std::string, std::size_t> runsOfFile;
    visit([&](const JournalRun& run) {
        bool isWanted = false;
        for (const JournalFile& file : run.files)
            isWanted = ++runsOfFile[file.path] <= kRunsKept || isWanted;
        if (!isWanted)
            calls.unlinkAt(folder.value, run.id + kExtension);
        return false;
    });
}

std::string hashOf(const NSData& bytes)
{
    static const bool isReady = [] { // the library wants to be asked for its version before anything else
        ::gcry_check_version(nullptr);
        return ::gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0) == 0;
    }();
    static_cast<void>(isReady);
    std::array<unsigned char, 32> digest {};
    ::gcry_md_hash_buffer(GCRY_MD_SHA256, digest.data(), bytes.bytes(), bytes.length());
    std::string digits;
    for (const unsigned char byte : digest) {
        digits += kHexDigits[byte >> 4];
        digits += kHexDigits[byte & 15];
    }
    return digits;
}
