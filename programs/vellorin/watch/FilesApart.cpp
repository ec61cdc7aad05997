#include "FilesApart.h"

#include "FilePaths.h"
#include "Journal.h"

FilesApart::FilesApart(const std::vector<std::string>& named, const Journal& journal)
    : journal_(journal)
{
    for (const std::string& path : named)
        named_.insert(canonicalPath(path));
}

bool FilesApart::isNamed(const std::string& path) const
{
    return named_.contains(canonicalPath(path));
}

bool FilesApart::isKeptInStep(const std::string& vault, const std::string& other)
{
    return partnersOf(vault).contains(canonicalPath(other));
}

const std::set<std::string>& FilesApart::partnersOf(const std::string& vault)
{
    const auto [entry, isNew] = partners_.try_emplace(vault);
    if (!isNew)
        return entry->second;
    for (const JournalRun& run : journal_.runsOf(canonicalPath(vault))) {
        if (run.command != "sync" && run.command != "watch")
            continue;
        for (const JournalFile& file : run.files)
            entry->second.insert(file.path);
    }
    return entry->second;
}
