#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

class Journal;

/// Files that hold the same vault as another one and are no copies of it to clear away: those that the user names, and
/// those that the journal knows to be kept in step with it.
class FilesApart {
public:
    /// `journal` must outlive the object.
    FilesApart(const std::vector<std::string>& named, const Journal& journal);

    bool isNamed(const std::string& path) const;

    /// Cost: the journal is read once for each vault.
    bool isKeptInStep(const std::string& vault, const std::string& other);

private:
    const std::set<std::string>& partnersOf(const std::string& vault);

    const Journal& journal_;
    std::set<std::string> named_;
    std::map<std::string, std::set<std::string>> partners_;
};
