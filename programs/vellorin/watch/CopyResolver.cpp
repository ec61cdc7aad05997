#include "CopyResolver.h"

#include "FileSteps.h"
#include "FinderServices.h"
#include "TextHash.h"
#include "VaultDifference.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void refuse(const std::string& copy, const std::string& vault)
{
    throw CommandFailure(kRefused, copy + ": is no copy of " + vault + " any more, and stays");
}

constexpr int kMostMerges = 3; // of a copy that changes meanwhile

bool isSameContent(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size
        && a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

bool canBeGiven(const VaultRecord& record)
{
    return record.isWhole && !record.body.empty();
}

/// The categories in which each UUID of a vault stands.
class CategoriesByUuid {
public:
    explicit CategoriesByUuid(const VaultContents& vault)
    {
        for (const VaultRecord& record : vault.records)
            categories_[record.uuid].push_back(record.category);
    }

    bool hasUuid(std::string_view uuid) const { return categories_.contains(uuid); }

    bool has(const VaultRecord& record) const
    {
        const auto found = categories_.find(record.uuid);
        return found != categories_.end()
            && std::find(found->second.begin(), found->second.end(), record.category) != found->second.end();
    }

private:
    std::unordered_map<std::string_view, std::vector<std::string_view>, TextHash> categories_;
};

} // namespace

bool holdsAllOf(const VaultContents& vault, const VaultContents& other)
{
    const CategoriesByUuid held(vault);
    const DeletionSet deleted(vault.deletions);
    const bool holdsRecords = std::all_of(other.records.begin(), other.records.end(), [&](const VaultRecord& record) {
        return !canBeGiven(record) || held.has(record) || (!held.hasUuid(record.uuid) && deleted.names(record.uuid));
    });
    if (!holdsRecords)
        return false;
    const VaultDifference difference = differenceOf(vault, other);
    return difference.deletionsOnlyInB == 0 && difference.deletedByB.empty();
}

/// A copy that is kept open, so that it can be told whether it is still the one that was read.
class CopyResolver::OpenCopy {
public:
    /// Raises: CommandFailure (kFailed).
    explicit OpenCopy(const std::string& path)
        : path(path)
        , file_(fileSystemCalls(), ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC))
        , status_(statusOf(file_.value))
        , contents(readVault(path)) // behind the status: what is written meanwhile shows
    {
    }

    /// The file that was read stands under its name.
    bool isInPlace() const
    {
        struct stat status { };
        return ::lstat(path.c_str(), &status) == 0 && isSameContent(status, status_);
    }

    /// Wherever the file is by now, it is there and has the bytes that were read.
    bool isUntouched() const
    {
        const NSData& expected = contents.bytes();
        std::vector<uint8_t> bytes(expected.length() + 1);
        std::size_t length = 0;
        for (ssize_t count = 1; count > 0 && length < bytes.size(); length += static_cast<std::size_t>(count)) {
            count = ::pread(file_.value, bytes.data() + length, bytes.size() - length, static_cast<off_t>(length));
            if (count < 0)
                return false;
        }
        return statusOf(file_.value).st_nlink > 0 && expected == NSData::dataWithBytes(bytes.data(), length);
    }

    const std::string path;

private:
    static struct stat statusOf(int descriptor)
    {
        struct stat status { };
        ::fstat(descriptor, &status); // of none, the file number 0, which no file has
        return status;
    }

    const StDescriptor file_;
    const struct stat status_;

public:
    const VaultContents contents;
};

CopyResolver::CopyResolver(Partners partners, const Manner& manner)
    : partners_(std::move(partners))
    , manner_(manner)
{
}

ResolvedCopy CopyResolver::resolve(const std::string& vault, const std::string& copy) const
{
    try {
        return tryToResolve(vault, copy);
    } catch (const CommandFailure& failure) {
        ResolvedCopy result;
        result.outcome = ResolvedCopy::Outcome::Left;
        result.status = failure.status();
        result.message = failure.what();
        return result;
    }
}

ResolvedCopy CopyResolver::tryToResolve(const std::string& vault, const std::string& copy) const
{
    ResolvedCopy result;
    for (int merges = 0; merges <= kMostMerges; ++merges) {
        const OpenCopy file(copy);
        if (file.contents.identity != readVault(vault).identity)
            refuse(copy, vault);
        if (mayGo(vault, file.contents) && file.isInPlace()) {
            moveToTrash(file, vault, result);
            return result;
        }
        if (merges == kMostMerges)
            break;
        result.report = partners_.merge(vault, copy);
        result.outcome = ResolvedCopy::Outcome::Merged;
        result.status = std::max(result.status, result.report->status());
        if (manner_.dryRun)
            return result;
    }
    const bool isWritten = result.report->outcome == SyncReport::Outcome::Done;
    result.outcome = ResolvedCopy::Outcome::Left;
    result.status = isWritten ? kHalfWritten : kFailed;
    result.message = copy + ": stays, since " + vault + " still lacks something of it after "
        + std::to_string(kMostMerges) + " merges; something else is changing these files";
    return result;
}

bool CopyResolver::mayGo(const std::string& vaultPath, const VaultContents& copy) const
{
    const VaultContents vault = readVault(vaultPath);
    return vault.referenceBuffer == copy.referenceBuffer && (copy.isCarriedWhole() || manner_.allowDamage)
        && holdsAllOf(vault, copy);
}

void CopyResolver::moveToTrash(const OpenCopy& copy, const std::string& vault, ResolvedCopy& result) const
{
    if (manner_.dryRun)
        return;
    if (!partners_.finder.hasTrash() || partners_.finder.moveToTrash(copy.path) != 0) {
        result.status = result.report ? kHalfWritten : kFailed;
        result.message = copy.path + ": can't be moved to the trash and stays; " + vault + " holds all of it";
        return;
    }
    result.inTrash = true;
    if (!copy.isUntouched()) {
        result.status = std::max(result.status, kLookAtIt);
        result.message = copy.path + ": was changed while it went to the trash; what lies there may hold records that "
            + vault + " lacks: take it back and run this again";
    }
}
