#include "RunTraces.h"

#include "NSData.h"

#include <algorithm>

namespace {

std::string hashOfText(const std::string& bytes)
{
    return hashOf(NSData::dataWithBytesNoCopy(bytes.data(), bytes.size()));
}

std::vector<std::string> pathsWith(const TracesTree& tree, const std::string& begin, const std::string& end)
{
    std::vector<std::string> paths;
    for (const auto& [path, bytes] : tree) {
        if (path.starts_with(begin) && path.ends_with(end))
            paths.push_back(path);
    }
    return paths;
}

std::string bytesAt(const TracesTree& tree, const std::string& path)
{
    const auto found = tree.find(path);
    return found != tree.end() ? found->second : "";
}

/// Whether the entry's backups are there, with the bytes that it names by their hash.
bool hasItsBackups(const JournalRun& run, const TracesTree& tree)
{
    return std::all_of(run.files.begin(), run.files.end(), [&](const JournalFile& file) {
        return !file.backup.empty() && hashOfText(bytesAt(tree, file.backup)) == file.hashBefore;
    });
}

/// Whether taking back the run would find both vaults as the entry tells.
bool tellsOf(const JournalRun& run, const TracesTree& tree)
{
    return run.files.size() == 2 && std::all_of(run.files.begin(), run.files.end(), [&](const JournalFile& file) {
        return leftWithHash(run, file, hashOfText(bytesAt(tree, file.path)));
    });
}

std::string faultInBackups(const TracesTree& tree, const VaultsOfRun& vaults)
{
    for (const std::string& path : backupsIn(tree, vaults)) {
        const bool isOfFirst = path.starts_with(vaults.folder + "/a ");
        if (bytesAt(tree, path) != (isOfFirst ? vaults.before.first : vaults.before.second))
            return path + " does not hold the old bytes";
    }
    return "";
}

std::string faultInJournal(const TracesTree& tree, const VaultsOfRun& vaults, bool isAnyNew)
{
    bool canTakeBack = false;
    for (const std::string& path : entriesIn(tree, vaults)) {
        const std::optional<JournalRun> run = runOfText(bytesAt(tree, path));
        if (!run || run->files.size() != 2)
            return path + " can't be read";
        if (!hasItsBackups(*run, tree))
            return path + " names backups that are not there";
        if (!tellsOf(*run, tree))
            return path + " tells of other vaults";
        canTakeBack = true;
    }
    return isAnyNew && !canTakeBack ? "no entry tells of a vault that is new" : "";
}

} // namespace

VaultsOfRun::VaultsOfRun(uint64_t seed, std::string folderOfVaults, std::string folderOfJournal)
    : folder(std::move(folderOfVaults))
    , journal(std::move(folderOfJournal))
    , before(VaultHistory(seed).pair())
    , after(merged(before))
{
}

std::string faultIn(const TracesTree& tree, const VaultsOfRun& vaults, Written written)
{
    const std::string first = bytesAt(tree, vaults.first());
    const std::string second = bytesAt(tree, vaults.second());
    const bool isFirstOld = first == vaults.before.first;
    const bool isSecondOld = second == vaults.before.second;
    if ((!isFirstOld && !vaults.isFirstNew(first)) || (!isSecondOld && !vaults.isSecondNew(second)))
        return "a vault is neither old nor new";
    if (written == Written::Both && (isFirstOld || isSecondOld))
        return "a success is not there";
    if (written == Written::None && !(isFirstOld && isSecondOld))
        return "a vault is new that should be old";
    const std::string fault = faultInBackups(tree, vaults);
    return fault.empty() ? faultInJournal(tree, vaults, !isFirstOld || !isSecondOld) : fault;
}

std::vector<std::string> leftBeside(const TracesTree& tree, const VaultsOfRun& vaults)
{
    std::vector<std::string> left = pathsWith(tree, vaults.folder + "/", "");
    const std::vector<std::string> backups = backupsIn(tree, vaults);
    std::erase_if(left, [&](const std::string& path) {
        return path == vaults.folder + "/" || path == vaults.first() || path == vaults.second()
            || std::find(backups.begin(), backups.end(), path) != backups.end();
    });
    return left;
}

std::vector<std::string> backupsIn(const TracesTree& tree, const VaultsOfRun& vaults)
{
    std::vector<std::string> backups = pathsWith(tree, vaults.folder + "/a backup ", ".vlr");
    const std::vector<std::string> ofSecond = pathsWith(tree, vaults.folder + "/b backup ", ".vlr");
    backups.insert(backups.end(), ofSecond.begin(), ofSecond.end());
    return backups;
}

std::vector<std::string> entriesIn(const TracesTree& tree, const VaultsOfRun& vaults)
{
    return pathsWith(tree, vaults.journal + "/2", ".json"); // a temporary one begins with a dot
}
