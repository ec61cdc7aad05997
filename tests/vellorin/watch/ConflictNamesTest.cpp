#include "ConflictNames.h"

#include <gtest/gtest.h>

namespace {

struct NameCase {
    const char* name;
    const char* synchroniser; // empty: no copy's name
    const char* original;
};

const NameCase kNameCases[] = {
    { "vault.sync-conflict-20261121-104512-ABCDEF7.vlr", "Syncthing", "vault.vlr" },
    { "vault.sync-conflict-20161121-104512.vlr", "Syncthing", "vault.vlr" },
    { "vault.sync-conflict-20261121-104512-ABCDEF7", "Syncthing", "vault" },
    { "my.old.vault.sync-conflict-20261121-104512-ABCDEF7.vlr", "Syncthing", "my.old.vault.vlr" },
    { "v.sync-conflict-20261121-104512-ABCDEF7.sync-conflict-20261122-104512-GHIJKL2.vlr", "Syncthing", "v.vlr" },
    { "vault (conflicted copy 2026-11-21 104512).vlr", "Nextcloud", "vault.vlr" },
    { "vault (conflicted copy alice b 2026-11-21 104512).vlr", "Nextcloud", "vault.vlr" },
    { "vault_conflict-20261121-104512.vlr", "Nextcloud", "vault.vlr" },
    { "vault (laptop's conflicted copy 2026-11-21).vlr", "Dropbox", "vault.vlr" },
    { "vault (laptop's conflicted copy 2026-11-21 (2)).vlr", "Dropbox", "vault.vlr" },
    { "vault (In Konflikt stehende Kopie von laptop 2026-11-21).vlr", "Dropbox", "vault.vlr" },
    { "vault (Copie en conflit de laptop 2026-11-21).vlr", "Dropbox", "vault.vlr" },
    { "vault (конфликтующая копия с laptop 2026-11-21).vlr", "Dropbox", "vault.vlr" },
    { "vault (laptop の競合コピー 2026-11-21).vlr", "Dropbox", "vault.vlr" },
    { "vault (conflict on 2026-11-21).vlr", "Unison", "vault.vlr" },
    { "vault (conflict_on_2026-11-21).vlr", "Unison", "vault.vlr" },
    { "vault (conflict #2 on 2026-11-21_laptop).vlr", "Unison", "vault.vlr" },
    { ".bak.0.vault.vlr", "Unison", "vault.vlr" },
    { "vault.vlr.3.unison.bak", "Unison", "vault.vlr" },
    { "vault.vlr.unison.bak", "Unison", "vault.vlr" },
    { "vault (laptop's conflicted copy 2026-11-21).sync-conflict-20261121-104512-ABCDEF7.vlr", "Syncthing",
        "vault.vlr" },

    // Only similar
    { "vault.vlr", "", "" },
    { "vault (1).vlr", "", "" },
    { "vault (before the conflict).vlr", "", "" },
    { "vault (holiday 2026-11-21).vlr", "", "" },
    { "vault.sync-conflict-2026-11-21.vlr", "", "" },
    { "vault.sync-conflict-20261121-104512-abcdef7.vlr", "", "" },
    { ".sync-conflict-20261121-104512-ABCDEF7.vlr", "", "" }, // of no name at all
    { "vault-conflict-20261121-104512.vlr", "", "" },
    { "vault conflicted copy 2026-11-21 104512.vlr", "", "" },
    { ".bak.vault.vlr", "", "" },
    { "vault.vlr.bak", "", "" },
    { "vault backup 1.vlr", "", "" },
};

TEST(ConflictNames, TellTheSynchroniserAndTheOriginal)
{
    for (const NameCase& row : kNameCases) {
        const std::optional<ConflictName> found = conflictNameOf(row.name);
        EXPECT_EQ(found ? found->synchroniser : "", row.synchroniser) << row.name;
        EXPECT_EQ(found ? found->original : "", row.original) << row.name;
    }
}

TEST(ConflictNames, AHostileNameTakesNoLongTime)
{
    std::string name;
    while (name.size() < 240)
        name += " (conflict 2026-11-21";
    EXPECT_FALSE(conflictNameOf(name));
    EXPECT_FALSE(conflictNameOf(std::string(100'000, '(')));
}

TEST(FileNames, BackupsAndUnfinishedFilesAreKnownByTheirForm)
{
    for (const char* const name : { "vault backup 1.vlr", "vault backup 100.vlr", "a b backup 42" })
        EXPECT_TRUE(isNumberedBackup(name)) << name;
    for (const char* const name : { "vault backup 101.vlr", "vault backup 0.vlr", "vault backup.vlr", "backup 1.vlr",
             "vault backup 1 (conflicted copy 2026-11-21 104512).vlr" })
        EXPECT_FALSE(isNumberedBackup(name)) << name;
    for (const char* const name : { ".vault.vlr.0123456789abcdef", ".syncthing.vault.vlr.tmp", "~syncthing~vault.vlr.tmp",
             ".vault.vlr.~1a2b", ".unison.vault.vlr.0123.unison.tmp" })
        EXPECT_TRUE(isUnfinishedFile(name)) << name;
    for (const char* const name : { "vault.vlr.0123456789abcdef", ".vault.vlr", ".vault.vlr.0123456789abcdeg", "v.tmp" })
        EXPECT_FALSE(isUnfinishedFile(name)) << name;
}

} // namespace
