#include "VaultBackups.h"

#include "ScratchFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

Files filesIn(const ScratchFolder& folder)
{
    Files files;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path(""))) {
        const std::string name = entry.path().filename();
        if (entry.is_directory())
            files[name + "/"];
        else
            files[name] = folder.read(name);
    }
    return files;
}

VaultPair withUncarriedBytes(const VaultPair& vaults)
{
    VaultPair result = vaults;
    for (std::string* const vault : { &result.first, &result.second })
        vault->insert(vault->find("Pdat"), "lost"); // in front of a record
    return result;
}

namespace {

bool isBackupOf(const std::string& name, char vault)
{
    return name.find(" backup ") == 1 && name.ends_with(".vlr") && name[0] == vault;
}

void expectBackupsOf(char vault, const Files& files, const std::string& old, bool isBackedUp, bool mustBeThere)
{
    bool has = false;
    for (const auto& [name, bytes] : files) {
        if (!isBackupOf(name, vault))
            continue;
        has = true;
        EXPECT_TRUE(isBackedUp && bytes == old) << name << " holds something else";
    }
    const auto present = files.find(std::string(1, vault) + ".vlr");
    const bool isReplaced = present != files.end() && present->second != old;
    EXPECT_TRUE(has || !isBackedUp || !isReplaced || !mustBeThere) << vault << " was replaced without a backup";
}

} // namespace

bool isBackup(const std::string& name)
{
    return isBackupOf(name, 'a') || isBackupOf(name, 'b');
}

void expectBackups(const Files& files, const VaultPair& old, bool isBackedUp, bool mustBeThere)
{
    expectBackupsOf('a', files, old.first, isBackedUp, mustBeThere);
    expectBackupsOf('b', files, old.second, isBackedUp, mustBeThere);
}
