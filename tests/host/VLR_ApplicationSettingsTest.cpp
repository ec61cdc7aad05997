#include "VLR_ApplicationSettings.h"
#include "CoreFixture.h"
#include "ScratchFolder.h"
#include "VLR_System.h"

#include <cstdlib>
#include <filesystem>

#include <sys/stat.h>

namespace {

/// A scratch home with a settings folder in its usual place.
class ApplicationSettings : public CoreTest {
protected:
    ApplicationSettings()
    {
        ::setenv("HOME", folder.path("home").c_str(), 1);
        ::unsetenv("XDG_CONFIG_HOME");
        std::filesystem::create_directories(folder.path("home/.config/vellorin"));
    }

    /// The three answers with the default 7, after the file is read anew.
    static std::string answers()
    {
        VLR_ApplicationSettings::Load();
        std::string text;
        for (const VLRPref_Type key :
            { VLRPref_DocumentFlagOverride, VLRPref_UseKeychainPassword, VLRPref_TrackLastUsedDate })
            text += std::to_string(VLR_System::GetPreference(key, 7)) + " ";
        return text;
    }

    const ScratchFolder folder;
    const std::string settings = "home/.config/vellorin/settings";
};

TEST_F(ApplicationSettings, AreReadFromTheFile)
{
    const std::string kAll = "[Preferences]\nDocumentFlagOverride=2\nUseKeychainPassword=1\nTrackLastUsedDate=0\n";
    const struct {
        const char* name;
        std::string file;
        const char* answers;
        std::size_t logLines;
    } kCases[] = {
        { "all", kAll, "2 1 0 ", 0 },
        { "blanks, comments, other keys and groups",
            "# mine\n[Window]\nUseKeychainPassword=3\n[Preferences]\n  UseKeychainPassword = -4  \nColour=blue\n",
            "7 -4 7 ", 0 },
        { "empty file", "", "7 7 7 ", 0 },
        { "no group of that name", "[preferences]\nUseKeychainPassword=1\n", "7 7 7 ", 0 },
        { "not whole numbers", "[Preferences]\nDocumentFlagOverride=yes\nUseKeychainPassword=\nTrackLastUsedDate=1.5\n",
            "7 7 7 ", 0 },
        { "beyond 32 bits", "[Preferences]\nUseKeychainPassword=4294967297\nTrackLastUsedDate=2147483647\n",
            "7 7 2147483647 ", 0 },
        { "the last of two", "[Preferences]\nUseKeychainPassword=1\nUseKeychainPassword=0\n", "7 0 7 ", 0 },
        { "no settings file", "my secret line\n" + kAll, "7 7 7 ", 1 },
        { "1 MiB", kAll + std::string((1 << 20) - kAll.size(), '\n'), "2 1 0 ", 0 },
        { "above 1 MiB", kAll + std::string((1 << 20) - kAll.size() + 1, '\n'), "7 7 7 ", 1 },
    };
    for (const auto& c : kCases) {
        log.clear();
        folder.write(settings, c.file);
        EXPECT_EQ(answers(), c.answers) << c.name;
        ASSERT_EQ(log.size(), c.logLines) << c.name;
        EXPECT_TRUE(log.empty() || log[0].find("secret") == std::string::npos) << log[0];
    }
    EXPECT_EQ(VLR_System::GetPreference(static_cast<VLRPref_Type>(4), 9), 9);
}

TEST_F(ApplicationSettings, AFileOfAnotherKindIsNotWaitedFor)
{
    EXPECT_EQ(answers(), "7 7 7 "); // missing, which is no matter
    EXPECT_TRUE(log.empty());
    ASSERT_EQ(::mkfifo(folder.path(settings).c_str(), 0600), 0);
    EXPECT_EQ(answers(), "7 7 7 ");
    std::filesystem::remove(folder.path(settings));
    std::filesystem::create_directory(folder.path(settings));
    EXPECT_EQ(answers(), "7 7 7 ");
    EXPECT_EQ(log.size(), 2u);
}

TEST_F(ApplicationSettings, StandInTheConfigurationFolder)
{
    const std::string home = folder.path("home");
    const struct {
        const char* configuration;
        const char* home;
        std::string path;
    } kCases[] = {
        { nullptr, home.c_str(), home + "/.config/vellorin/settings" },
        { "/etc/mine", home.c_str(), "/etc/mine/vellorin/settings" },
        { "", home.c_str(), home + "/.config/vellorin/settings" },
        { "relative/folder", home.c_str(), home + "/.config/vellorin/settings" },
        { "/etc/mine", nullptr, "/etc/mine/vellorin/settings" },
        { nullptr, nullptr, "" },
        { nullptr, "relative", "" },
    };
    for (const auto& c : kCases) {
        c.configuration != nullptr ? ::setenv("XDG_CONFIG_HOME", c.configuration, 1) : ::unsetenv("XDG_CONFIG_HOME");
        c.home != nullptr ? ::setenv("HOME", c.home, 1) : ::unsetenv("HOME");
        EXPECT_EQ(VLR_ApplicationSettings::Path(), c.path);
    }
    EXPECT_EQ(answers(), "7 7 7 ");
}

TEST_F(ApplicationSettings, AreReadOnce)
{
    folder.write(settings, "[Preferences]\nUseKeychainPassword=1\n");
    EXPECT_EQ(answers(), "7 1 7 ");
    folder.write(settings, "[Preferences]\nUseKeychainPassword=2\n");
    EXPECT_EQ(VLR_System::GetPreference(VLRPref_UseKeychainPassword, 7), 1);
    VLR_ApplicationSettings::Load();
    EXPECT_EQ(VLR_System::GetPreference(VLRPref_UseKeychainPassword, 7), 2);
}

} // namespace
