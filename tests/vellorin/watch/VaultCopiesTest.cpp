#include "VaultCopies.h"
#include "ScratchFolder.h"
#include "VaultBytes.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace fs = std::filesystem;

namespace {

constexpr char kSyncthingName[] = "vault.sync-conflict-20261121-104512-ABCDEF7.vlr";
constexpr char kNextcloudName[] = "vault (conflicted copy 2026-11-21 104512).vlr";

std::string vaultOf(const std::string& identity, const std::string& uuid = "U")
{
    return SketchedVault { { { uuid } }, {}, identity }.bytes();
}

/// A folder and what a finder tells of it, with the paths cut to names.
class Found {
public:
    std::string path(const std::string& name) const { return folder.path(name); }

    CopyFinder finder()
    {
        return CopyFinder(
            [this](const std::string& path, const std::string& why, bool matters) {
                passedOver += (matters ? "!" : "") + shortened(path + ": " + why) + "\n";
            },
            [this](const std::string& path) { return named.contains(shortened(path)); },
            [this](const std::string&, const std::string& other) { return shortened(other) == keptInStep; });
    }

    std::string beside(const std::string& vault)
    {
        try {
            return told(finder().copiesOf(path(vault)));
        } catch (const CommandFailure& failure) {
            return std::to_string(failure.status()) + " " + shortened(failure.what());
        }
    }

    std::string inFolder(bool recursive)
    {
        const FoundCopies found = finder().copiesIn(path(""), recursive);
        std::string text;
        for (const CopiesOfVault& vault : found.vaults)
            text += told(vault) + "\n";
        for (const Problem& problem : found.problems)
            text += std::to_string(problem.status) + " " + shortened(problem.message) + "\n";
        return text;
    }

    std::string shortened(std::string text) const
    {
        const std::string begin = folder.path("");
        for (std::size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at))
            text.erase(at, begin.size());
        return text;
    }

    std::string told(const CopiesOfVault& found) const
    {
        std::string text = shortened(found.vault) + " <";
        for (const VaultCopy& copy : found.copies)
            text += " [" + shortened(copy.path) + "|" + copy.synchroniser + "]";
        return text;
    }

    const ScratchFolder folder;
    std::string passedOver;
    std::string keptInStep = "none";
    std::set<std::string> named;
};

TEST(CopyFinder, FindsCopiesByIdentityWhateverTheirNames)
{
    Found found;
    found.folder.write("vault.vlr", vaultOf("I"));
    found.folder.write(kSyncthingName, vaultOf("I", "V"));
    found.folder.write(kNextcloudName, vaultOf("other")); // the name is right, and the vault another one
    found.folder.write("letter.txt", vaultOf("I", "W"));
    found.folder.write("notes.txt", "no vault");
    found.folder.write("empty.vlr", "");
    found.folder.write("vault backup 1.vlr", vaultOf("I"));
    found.folder.write(".vault.vlr.0123456789abcdef", vaultOf("I"));
    found.folder.write("vault (conflict_on_2026-11-21).vlr", vaultOf("I").substr(0, 100));
    fs::create_symlink("vault.vlr", found.path("link.vlr"));
    fs::create_hard_link(found.path("vault.vlr"), found.path("second name.vlr"));
    EXPECT_EQ(found.beside("vault.vlr"), std::string("vault.vlr < [letter.txt|] [") + kSyncthingName + "|Syncthing]");
    EXPECT_NE(found.passedOver.find("vault backup 1.vlr: is a numbered backup\n"), std::string::npos);
    EXPECT_NE(found.passedOver.find(".vault.vlr.0123456789abcdef: is not complete yet\n"), std::string::npos);
    EXPECT_NE(found.passedOver.find("!vault (conflict_on_2026-11-21).vlr: "), std::string::npos);
    EXPECT_EQ(found.passedOver.find("notes.txt"), std::string::npos);

    found.keptInStep = "letter.txt";
    EXPECT_EQ(found.beside("vault.vlr"), std::string("vault.vlr < [") + kSyncthingName + "|Syncthing]");
}

TEST(CopyFinder, OfALinkTheRealFolderIsSearched)
{
    Found found;
    fs::create_directory(found.path("cloud"));
    found.folder.write("cloud/vault.vlr", vaultOf("I"));
    found.folder.write(std::string("cloud/") + kNextcloudName, vaultOf("I"));
    fs::create_symlink("cloud/vault.vlr", found.path("link.vlr"));
    EXPECT_EQ(found.beside("link.vlr"), std::string("link.vlr < [cloud/") + kNextcloudName + "|Nextcloud]");
}

TEST(CopyFinder, RefusesWhatItCantDecide)
{
    Found found;
    found.folder.write("vault.vlr", vaultOf("I"));
    found.folder.write(kSyncthingName, vaultOf("I"));
    found.folder.write("new.vlr", vaultOf(""));
    found.folder.write("no vault.vlr", "text");
    EXPECT_EQ(found.beside(kSyncthingName),
        std::string("2 ") + kSyncthingName + ": is a copy of vault.vlr by its name; name that one");
    EXPECT_EQ(found.beside("new.vlr").substr(0, 2), "2 ");
    EXPECT_EQ(found.beside("no vault.vlr").substr(0, 2), "3 ");
    EXPECT_EQ(found.beside("none.vlr").substr(0, 2), "3 ");
    fs::remove(found.path("vault.vlr"));
    EXPECT_EQ(found.beside(kSyncthingName), std::string(kSyncthingName) + " <"); // a copy that is all there is left
}

TEST(CopyFinder, NoBackupAndNoCopyBesideTheVaultTakesTheVaultsPlace)
{
    Found found;
    found.folder.write("vault.vlr", vaultOf("I"));
    const std::string refused[] = { "vault backup 1.vlr", ".vault.vlr.0123456789abcdef",
        "vault backup 1.sync-conflict-20261121-104512-ABCDEF7.vlr", kSyncthingName,
        "renamed (conflict_on_2026-11-21).vlr" };
    for (const std::string& name : refused) {
        found.folder.write(name, vaultOf("I", "V"));
        fs::create_symlink(name, found.path("link.vlr"));
        for (const bool othersAreNamed : { false, true }) {
            found.named = othersAreNamed ? std::set<std::string> { "vault.vlr", name } : std::set<std::string>();
            EXPECT_EQ(found.beside(name).substr(0, name.size() + 4), "2 " + name + ": ");
            EXPECT_EQ(found.beside("link.vlr").substr(0, 12), "2 link.vlr: ") << name;
        }
        fs::remove(found.path("link.vlr"));
        fs::remove(found.path(name));
    }
}

TEST(CopyFinder, WhatIsNamedTooIsNoCopyWhateverItsName)
{
    Found found;
    found.folder.write("vault.vlr", vaultOf("I"));
    found.folder.write("other.vlr", vaultOf("I"));
    found.folder.write(kSyncthingName, vaultOf("I"));
    found.folder.write("other (conflict_on_2026-11-21).vlr", vaultOf("I"));
    found.named = { "vault.vlr", "other.vlr" };
    EXPECT_EQ(found.beside("vault.vlr"), std::string("vault.vlr < [") + kSyncthingName + "|Syncthing]");
    EXPECT_EQ(found.beside("other.vlr"), "other.vlr < [other (conflict_on_2026-11-21).vlr|Unison]");
    found.named.insert(kSyncthingName);
    EXPECT_EQ(found.beside("vault.vlr"), "vault.vlr <");
}

TEST(CopyFinder, InAFolderEachVaultHasItsCopies)
{
    Found found;
    found.folder.write("vault.vlr", vaultOf("I"));
    found.folder.write(kSyncthingName, vaultOf("I"));
    found.folder.write("other.vlr", vaultOf("J"));
    found.folder.write(kNextcloudName, vaultOf("J"));
    found.folder.write("alone.vlr", vaultOf("K"));
    found.folder.write("new.vlr", vaultOf(""));
    found.folder.write("new too.vlr", vaultOf(""));
    EXPECT_EQ(found.inFolder(false),
        std::string("vault.vlr < [") + kSyncthingName + "|Syncthing]\nother.vlr < [" + kNextcloudName
            + "|Nextcloud]\n");
}

TEST(CopyFinder, WithoutOneOriginalAFolderIsUndecided)
{
    Found found;
    found.folder.write("a.vlr", vaultOf("I"));
    found.folder.write("b.vlr", vaultOf("I"));
    found.folder.write(kSyncthingName, vaultOf("I"));
    found.folder.write("w.sync-conflict-20261121-104512-ABCDEF7.vlr", vaultOf("J"));
    found.folder.write("w.sync-conflict-20261121-104513-ABCDEF7.vlr", vaultOf("J"));
    EXPECT_EQ(found.inFolder(false),
        "2 a.vlr, b.vlr: hold the same vault, and none has the name of a copy; name the one that is to stay\n"
        "2 w.sync-conflict-20261121-104512-ABCDEF7.vlr, w.sync-conflict-20261121-104513-ABCDEF7.vlr: hold the same "
        "vault, and each has the name of a copy; name the one that is to stay\n");
}

TEST(CopyFinder, FoldersBelowAreSearchedIfWanted)
{
    Found found;
    fs::create_directories(found.path("below/further"));
    fs::create_directory(found.path(".stversions"));
    fs::create_directory_symlink("below", found.path("again"));
    for (const std::string folder : { "below/further/", ".stversions/" }) {
        found.folder.write(folder + "vault.vlr", vaultOf("I"));
        found.folder.write(folder + kSyncthingName, vaultOf("I"));
    }
    found.folder.write("vault.vlr", vaultOf("I")); // another folder's is no original of those
    EXPECT_EQ(found.inFolder(false), "");
    EXPECT_EQ(found.inFolder(true),
        std::string("below/further/vault.vlr < [below/further/") + kSyncthingName + "|Syncthing]\n");
    EXPECT_EQ(found.finder().copiesIn(found.path("none"), true).problems.front().status, kFailed);
}

} // namespace
