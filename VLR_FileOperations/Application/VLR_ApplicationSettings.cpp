#include "VLR_ApplicationSettings.h"

#include "NSLog.h"
#include "VLR_GLibPointers.h"
#include "VLR_System.h"
#include "VLR_SystemConversions.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include <glib.h>

namespace {

constexpr char kFile[] = "/vellorin/settings";
constexpr char kGroup[] = "Preferences";
constexpr uint32_t kLargestFile = 1 << 20;

struct Key {
    VLRPref_Type key;
    const char* name;
};

constexpr Key kKeys[] = {
    { VLRPref_DocumentFlagOverride, "DocumentFlagOverride" },
    { VLRPref_UseKeychainPassword, "UseKeychainPassword" },
    { VLRPref_TrackLastUsedDate, "TrackLastUsedDate" },
};

using Values = std::array<std::optional<int32_t>, std::size(kKeys)>;

std::optional<Values> gValues; // none before the first question

std::string FolderFrom(const char* variable)
{
    const char* const folder = std::getenv(variable);
    return folder != nullptr && *folder == '/' ? folder : "";
}

std::optional<int32_t> WholeNumber(GKeyFile* file, const char* name)
{
    GError* raw = nullptr;
    const int value = g_key_file_get_integer(file, kGroup, name, &raw);
    const GLibError error(raw);
    return error ? std::nullopt : std::optional<int32_t>(value);
}

Values ValuesFrom(const VLR_MemoryBlock& text, const std::string& path)
{
    Values values;
    const GLibKeyFile file(g_key_file_new());
    const auto* const bytes = text.IsEmpty() ? "" : reinterpret_cast<const char*>(text.Bytes());
    if (!g_key_file_load_from_data(file.get(), bytes, text.Length(), G_KEY_FILE_NONE, nullptr)) {
        NSLog("Not used, as it is no settings file: " + path);
        return values;
    }
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = WholeNumber(file.get(), kKeys[i].name);
    return values;
}

Values ReadValues()
{
    const std::string path = VLR_ApplicationSettings::Path();
    VLR_MemoryBlock text;
    if (!path.empty() && VLRReadFromFile(text, path, kLargestFile))
        return ValuesFrom(text, path);
    std::error_code ignored;
    if (!path.empty() && std::filesystem::exists(path, ignored))
        NSLog("Not used, as it can't be read or is no file of up to 1 MiB: " + path);
    return {};
}

} // namespace

std::string VLR_ApplicationSettings::Path()
{
    if (const std::string configuration = FolderFrom("XDG_CONFIG_HOME"); !configuration.empty())
        return configuration + kFile;
    const std::string home = FolderFrom("HOME");
    return home.empty() ? "" : home + "/.config" + kFile;
}

void VLR_ApplicationSettings::Load()
{
    gValues = ReadValues();
}

int32_t VLR_System::GetPreference(VLRPref_Type key, int defaultValue)
{
    if (!gValues)
        VLR_ApplicationSettings::Load();
    for (std::size_t i = 0; i < std::size(kKeys); ++i) {
        if (kKeys[i].key == key)
            return (*gValues)[i].value_or(defaultValue);
    }
    return defaultValue;
}
